#pragma once

#include <calibmap.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

/** The bytes of a calibration file. */
using Image = std::array<uint8_t, CALIBMAP_FILE_SIZE>;

/** Which of the two correction models. */
enum class Direction {
    undistort, /**< for each pixel of the straight image, where the camera recorded it */
    distort    /**< for each pixel of the recorded image, where it lies in the straight image */
};

/** "undistort" or "distort". */
std::string nameOf(Direction direction);

/** Of which image it takes the pixels: "straight" or "recorded". */
std::string imageOf(Direction direction);

/** The size and the focal lengths, in pixels, of the main camera. */
struct Camera {
    int32_t width;
    int32_t height;
    double fx;
    double fy;
    double cx;
    double cy;
};

/** What we take from calibrations and command lines for a camera, in pixels. */
inline constexpr int32_t largestSide = 16384;
inline constexpr double smallestFocalLength = 1;
inline constexpr double largestFocalLength = 1e6;
inline constexpr double farthestPrincipalPoint = 1e5;

/** Spline orders and piece counts, shared by both models. */
struct ModelShape {
    int xOrder;
    int yOrder;
    int xPieces;
    int yPieces;
};

/** The shape of the models that the library's 10 x 12 correction matrices hold. */
constexpr ModelShape fittingShape = {
    .xOrder = CALIBMAP_CORRECTION_COLS - CALIBMAP_X_BREAK_COUNT + 2,
    .yOrder = CALIBMAP_CORRECTION_ROWS - CALIBMAP_Y_BREAK_COUNT + 2,
    .xPieces = CALIBMAP_X_BREAK_COUNT - 1,
    .yPieces = CALIBMAP_Y_BREAK_COUNT - 1,
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

/** Bytes of a model in the file. */
constexpr std::size_t modelSize = CALIBMAP_UNDISTORTION_MODEL - CALIBMAP_DISTORTION_MODEL;

/** Where the model of one direction begins in a file image. */
std::size_t modelOffset(Direction direction);

/** The main camera of a file image. */
Camera mainCameraOf(const Image& image);

/** The spline orders of a file image. */
ModelShape modelShapeOf(const Image& image);

/** One of the two models of a file image. */
CorrectionModel modelOf(const Image& image, Direction direction);

/** Reads a 32-bit value at any alignment, on a machine of either byte order. */
uint32_t wordAt(const Image& image, std::size_t offset);
float floatAt(const Image& image, std::size_t offset);
