#pragma once

#include <calibmap.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/** The bytes of a calibration file. */
using Image = std::array<uint8_t, CALIBMAP_FILE_SIZE>;

/** Which of the two correction models. */
enum class Direction {
    undistort, /**< for each pixel of the straight image, where the camera recorded it */
    distort    /**< for each pixel of the recorded image, where it lies in the straight image */
};

/** "undistort" or "distort". */
std::string nameOf(Direction direction);

/** The size and the focal lengths, in pixels, of the main camera. */
struct Camera {
    int32_t width;
    int32_t height;
    double fx;
    double fy;
    double cx;
    double cy;
};

/** Spline orders and piece counts, shared by both models. */
struct ModelShape {
    int xOrder;
    int yOrder;
    int xPieces;
    int yPieces;
};

/** One correction model as the file stores it. */
struct CorrectionModel {
    static constexpr std::size_t coefficientCount =
        std::size_t{CALIBMAP_CORRECTION_ROWS} * CALIBMAP_CORRECTION_COLS;
    std::array<float, CALIBMAP_X_BREAK_COUNT> xBreaks;
    std::array<float, CALIBMAP_Y_BREAK_COUNT> yBreaks;
    std::array<float, coefficientCount> xCorrection; /**< row-major, rows along y */
    std::array<float, coefficientCount> yCorrection;
};

/** Result of the verification of a file, in the library's own status codes. */
struct Verdict {
    int32_t status;     /**< `CALIBMAP_SUCCESS` or the first reason to refuse */
    std::string reason; /**< what is wrong; empty when accepted */
    std::string remedy; /**< what to do about it */
};

/** One checksummed range of the file. */
struct CheckedRange {
    std::string name;
    std::size_t first;
    std::size_t size;
    uint8_t stored;   /**< the byte behind the range */
    uint8_t computed; /**< what it has to be */
};

/** How the value of a field is to be read. */
enum class FieldType { byte, int32, float32, word };

/** `count` values of one type that stand in the file one after the other. */
struct Field {
    std::string name;
    std::size_t offset;
    FieldType type;
    std::size_t count;
};

/** Size of one value in bytes. */
std::size_t sizeOf(FieldType type);

/** Reads the file and verifies it in the order of the library. `image` holds what was read. */
Verdict examine(const std::string& path, Image& image);

/** Reads a file that a device would accept; throws a `Failure` otherwise. */
Image loadCalibration(const std::string& path);

/** The four checksummed ranges; the one over the whole file comes last. */
std::vector<CheckedRange> checkedRanges(const Image& image);

/** Every field that has a name, in file order. */
const std::vector<Field>& namedFields();

/** The main camera of a file image. */
Camera mainCameraOf(const Image& image);

/** The spline orders of a file image. */
ModelShape modelShapeOf(const Image& image);

/** One of the two models of a file image. */
CorrectionModel modelOf(const Image& image, Direction direction);

/** Reads a 32-bit value at any alignment, on a machine of either byte order. */
uint32_t wordAt(const Image& image, std::size_t offset);
float floatAt(const Image& image, std::size_t offset);

/** What a producer of calibration files fills in; the rest of the file is zero. */
struct CalibrationContent {
    CameraIntrinsics mainCamera;
    CameraIntrinsics subCamera;
    std::array<float, CALIBMAP_EXTRINSIC_BLOCK_SIZE / sizeof(float)> extrinsics;
    ModelShape shape;
    CorrectionModel undistortion;
    CorrectionModel distortion;
};

/** A file image with this content, the pass flag set and all four checksums in place. */
Image sealedImage(const CalibrationContent& content);
