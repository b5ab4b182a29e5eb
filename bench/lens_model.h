/** The lens that all maps of the benchmarks are of, in memory and as a calibration file. */
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "calibmap.h"

/** A correction model of order 7 by 7 and its camera, as a program holds them. */
struct LensModel {
    static constexpr int32_t order = 7;

    int32_t width;
    int32_t height;
    double fx;
    double fy;
    double cx;
    double cy;
    std::vector<double> xBreaks;
    std::vector<double> yBreaks;
    std::vector<double> xCoefficients;  ///< row-major, a row for each B-spline along y
    std::vector<double> yCoefficients;
};

/** A barrel lens over an image of this size; every number is one that a float holds. */
LensModel barrelLens(int32_t width, int32_t height);

/** The undistortion map of a model as a calibration file image, sealed. */
std::array<uint8_t, CALIBMAP_FILE_SIZE> calibrationImage(const LensModel& lens);

/** A file on disk that lives as long as this object does. */
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::array<uint8_t, CALIBMAP_FILE_SIZE>& content);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    TemporaryFile(TemporaryFile&&) = delete;
    TemporaryFile& operator=(TemporaryFile&&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }

  private:
    std::string path_;
};
