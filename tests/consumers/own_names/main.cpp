// A program whose own functions have names that the library might use inside: an archive shares one
// name space with the program, and neither may get the other's function.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "../lens.h"

static int ownCalls = 0;

void report(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    ownCalls += va_arg(arguments, int);
    va_end(arguments);
}

void transpose(const double* a, int rows, int cols, double* result) {
    ownCalls += rows * cols;
    result[0] = a[0];
}

int run(const char* text) {
    return ownCalls += text[0] == 'r' ? 1 : 0;
}

int fail(const char* format, int line) {
    return ownCalls += format[0] == 'f' ? line : 0;
}

// The lens's map, which takes the library through its evaluation.
static bool makesItsMap(const char* file) {
    CameraIntrinsics camera;
    if (getCameraIntrinsicAndExtrinsic(file, &camera, nullptr, nullptr) != 0) {
        return false;
    }
    const std::size_t size = std::size_t(camera.imageHeight) * std::size_t(camera.imageWidth);
    std::vector<float> x(size), y(size);
    const CamDistortionLUT map = {x.data(), y.data(), camera.imageHeight, camera.imageWidth};
    return doDistortionProcess(file, CALIBMAP_UNDISTORTION, 1, nullptr, &map) == 0 &&
           distanceFromLens(&camera, &map) < 0.001;
}

// The library prints its own report, and its transpose is one.
static bool printsAndTransposesItself(const std::string& output) {
    std::fflush(stdout);
    if (std::freopen(output.c_str(), "w", stdout) == nullptr) {
        return false;
    }
    const Mat* none = createMatFromArray(2, 3, nullptr);
    std::fflush(stdout);
    char line[256] = "";
    std::FILE* printed = std::fopen(output.c_str(), "r");
    const bool isReported = printed != nullptr &&
                            std::fgets(line, sizeof line, printed) != nullptr &&
                            std::strncmp(line, "ERROR: ", 7) == 0;
    std::fclose(printed);
    std::remove(output.c_str());

    const double values[] = {1, 2, 3, 4, 5, 6};
    Mat* a = createMatFromArray(2, 3, values);
    Mat* b = matT(a);
    const bool isTransposed = b->rows == 3 && b->cols == 2 && b->data[1] == 4 && b->data[4] == 3;
    destroyMat(&a);
    destroyMat(&b);
    return none == nullptr && isReported && isTransposed;
}

int main(int argc, char** argv) {
    const char* file = argv[argc - 1];
    if (!makesItsMap(file) || !printsAndTransposesItself(file + std::string(".output")) ||
        ownCalls != 0) {
        return 1;
    }
    double first[1] = {0};
    const double source[1] = {7};
    report("%d", 1);
    transpose(source, 1, 1, first);
    run("run");
    fail("fail", 1);
    return ownCalls == 4 && first[0] == 7 ? 0 : 1;
}
