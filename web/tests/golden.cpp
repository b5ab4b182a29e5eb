// The promised numbers, computed by the library in a browser: one line "NAME HASH" for each case.
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "calibmap.h"
#include "tests/golden_reference.h"

namespace {

using Values = std::vector<double>;

int32_t sizeOf(const Values& values) {
    return static_cast<int32_t>(values.size());
}

/** The elements of a matrix, which is released. */
Values taken(Mat* matrix) {
    if (matrix == nullptr) {
        return {};
    }
    const auto count = static_cast<ptrdiff_t>(matrix->rows) * matrix->cols;
    Values result(matrix->data, matrix->data + count);
    destroyMat(&matrix);
    return result;
}

Values collocation(const Values& knots, int order, const Values& sites) {
    VectorDouble* sequence = vectorCopyFromDoubleArray(knots.data(), sizeOf(knots));
    Mat* column = createMatFromArray(sizeOf(sites), 1, sites.data());
    Values result = taken(collocationMatrix(sequence, order, column));
    destroyVectorDouble(&sequence);
    destroyMat(&column);
    return result;
}

Values product(const golden::Matrix& left, const golden::Matrix& right) {
    Mat* a = createMatFromArray(left.rows, left.cols, left.data.data());
    Mat* b = createMatFromArray(right.rows, right.cols, right.data.data());
    Values result = taken(matMul(a, b));
    destroyMat(&a);
    destroyMat(&b);
    return result;
}

Values quotient(const golden::Matrix& left, double divisor) {
    Mat* a = createMatFromArray(left.rows, left.cols, left.data.data());
    Values result = taken(matDivk(a, divisor));
    destroyMat(&a);
    return result;
}

Values maps(const Image& image, bool undistortion, int ratio) {
    const CameraIntrinsics camera = extractMainCameraIntrn(image.data());
    const auto build = undistortion ? calcMainCameraUnDistortionB : calcMainCameraDistortionB;
    Mat* mapX = nullptr;
    Mat* mapY = nullptr;
    if (build(image.data() + CALIBMAP_MAIN_BLOCK, nullptr, ratio, camera.imageWidth,
              camera.imageHeight, &mapX, &mapY) != CALIBMAP_SUCCESS) {
        return {};
    }
    std::vector<float> x(static_cast<size_t>(mapX->rows) * static_cast<size_t>(mapX->cols));
    std::vector<float> y(x.size());
    const CamDistortionLUT delivered = {x.data(), y.data(), mapX->rows, mapX->cols};
    extractDistData2CamDistortionLUT(mapX, mapY, &delivered);

    Values all = taken(mapX);
    const Values second = taken(mapY);
    all.insert(all.end(), second.begin(), second.end());
    all.insert(all.end(), x.begin(), x.end());
    all.insert(all.end(), y.begin(), y.end());
    return all;
}

}  // namespace

// The C++ library knows no exceptions here: a throw ends the module.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" void* __cxa_allocate_exception(size_t /*size*/) noexcept {
    abort();
}
extern "C" void __cxa_throw(void* /*thrown*/, void* /*type*/, void (* /*destroy*/)(void*)) {
    abort();
}
// NOLINTEND(bugprone-reserved-identifier)

/** Called by the test. */
extern "C" __attribute__((visibility("default"))) void printHashes() {
    for (const golden::Result& result : golden::evaluate({collocation, product, quotient, maps})) {
        std::printf("%s %s\n", result.name.c_str(), golden::hash(result).c_str());
    }
}
