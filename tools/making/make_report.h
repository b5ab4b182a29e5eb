#pragma once

#include <optional>
#include <string>
#include <vector>

#include "inspection/image.h"
#include "inspection/usability.h"
#include "making/fit_points.h"
#include "making/proof.h"

/** What `make` tells about the file that it has written, or refuses to write. */
struct MakeReport {
    std::string file;
    Camera camera;
    std::string mainCamera;                  /**< where it comes from */
    std::string lens;                        /**< in words; empty when none has been fitted */
    std::optional<double> reprojectionError; /**< pixels; of the calibration against its views */
    std::string subCamera;
    std::string extrinsics;
    std::string unusedExtrinsics; /**< what a calibration has of them and nobody took over */
    std::string coefficients;     /**< the main camera's further parameters */
    int passFlag;
    double maxAngle;             /**< degrees */
    double tolerance;            /**< pixels */
    std::vector<MapErrors> fits; /**< none when the models come from another file */
    std::optional<Bend> bend;
    std::optional<RoundTrip> roundTrip;
    std::string models;           /**< what has become of those of another file */
    std::vector<std::string> set; /**< fields that were set by name */
    std::optional<PointFit> points;
};

/** The report for people, several lines. */
std::string textOf(const MakeReport& report);

/** The report for programs, one object. With a reason, the file has not been written. */
std::string jsonOf(const MakeReport& report, const std::string& reason);
