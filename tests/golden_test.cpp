// The bits of the library's numbers, held against hashes that a plain evaluation left behind: every
// compiler, machine and optimisation level has to find the same ones.
#include <algorithm>
#include <bit>
#include <cstdio>
#include <sstream>

#include "golden_reference.h"
#include "support.h"

namespace {

using golden::Matrix;

Owned<Mat> mat(const Matrix& m) {
    return matrix(m.rows, m.cols, m.data);
}

Values collocation(const Values& knots, int order, const Values& sites) {
    const auto column = matrix(static_cast<int32_t>(sites.size()), 1, sites);
    return elements(own(collocationMatrix(vectorOf(knots).get(), order, column.get())));
}

Values product(const Matrix& left, const Matrix& right) {
    return elements(own(matMul(mat(left).get(), mat(right).get())));
}

Values quotient(const Matrix& left, double divisor) {
    return elements(own(matDivk(mat(left).get(), divisor)));
}

Values maps(const Image& image, bool undistortion, int ratio) {
    const CameraIntrinsics camera = extractMainCameraIntrn(image.data());
    const int32_t cols = camera.imageWidth / ratio;
    const int32_t rows = camera.imageHeight / ratio;
    if (rows == 0 || cols == 0) {
        return {};
    }
    Mat* mapX = nullptr;
    Mat* mapY = nullptr;
    const auto build = undistortion ? calcMainCameraUnDistortionB : calcMainCameraDistortionB;
    EXPECT_EQ(build(image.data() + CALIBMAP_MAIN_BLOCK, nullptr, ratio, camera.imageWidth,
                    camera.imageHeight, &mapX, &mapY),
              0);
    CallerMap delivered(rows, cols);
    EXPECT_EQ(extractDistData2CamDistortionLUT(mapX, mapY, &delivered.lut), 0);

    Values all;
    for (const Values& part :
         {elements(own(mapX)), elements(own(mapY)), Values(delivered.x.begin(), delivered.x.end()),
          Values(delivered.y.begin(), delivered.y.end())}) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

/** Says where two results part. */
std::string firstDifference(const golden::Result& expected, const golden::Result& found) {
    const auto [right, wrong] = std::ranges::mismatch(expected.bits, found.bits);
    if (right == expected.bits.end() || wrong == found.bits.end()) {
        return std::to_string(found.bits.size()) + " numbers";
    }
    char text[100];
    std::snprintf(text, sizeof text, "number %td is %a, should be %a",
                  right - expected.bits.begin(), std::bit_cast<double>(*wrong),
                  std::bit_cast<double>(*right));
    return text;
}

std::string line(const golden::Result& result) {
    return result.name + " " + golden::hash(result);
}

TEST(Golden, FileAndReferenceAndLibraryAgree) {
    std::vector<std::string> committed;
    std::istringstream file(testData("golden.txt"));
    for (std::string text; std::getline(file, text);) {
        committed.push_back(text);
    }
    const auto expected = golden::evaluate(golden::reference());
    const auto found = golden::evaluate({collocation, product, quotient, maps});
    ASSERT_EQ(committed.size(), expected.size()) << "run scripts/regenerate-golden.sh";
    for (size_t i = 0; i < committed.size(); ++i) {
        EXPECT_EQ(line(expected[i]), committed[i]) << "run scripts/regenerate-golden.sh";
        EXPECT_EQ(line(found[i]), committed[i]) << firstDifference(expected[i], found[i]);
    }
}

}  // namespace
