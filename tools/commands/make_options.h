#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "lens/proof.h"

/** What the command line of `make` asks for; a text that was not given is empty. */
struct MakeOptions {
    std::string output;
    std::string main;
    std::string sub;
    std::string points;
    std::string from;
    std::optional<int32_t> width;
    std::optional<int32_t> height;
    std::optional<double> fx;
    std::optional<double> fy;
    std::optional<double> cx;
    std::optional<double> cy;
    std::optional<int32_t> subWidth;
    std::optional<int32_t> subHeight;
    bool isFisheye = false;
    std::string extrinsics;
    std::string mainCoeff;
    std::string subCoeff;
    std::optional<int32_t> xOrder;
    std::optional<int32_t> yOrder;
    std::optional<int32_t> xPieces;
    std::optional<int32_t> yPieces;
    std::optional<int32_t> pass;
    double maxAngle = 90;
    double tolerance = usualTolerance;
    std::string residuals;
    bool isJson = false;
    bool isUnproved = false;
};
