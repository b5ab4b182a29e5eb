#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "inspection/point.h"

/** A place of the scene, as measured in pixels. */
struct PointPair {
    Point straight; /**< where it lies in the straight image */
    Point recorded; /**< where the camera recorded it */
};

/**
 * Reads pairs from a text file: straight column, straight row, recorded column, recorded row in
 * each line, separated by commas. The first line may be a header; empty lines and lines that begin
 * with # do not count. "-" is standard input. Throws a `Failure` that names the line.
 */
std::vector<PointPair> readPointPairs(const std::string& path);

/** The same from a text; `name` is what messages call it. */
std::vector<PointPair> pointPairsFrom(std::string_view text, const std::string& name);
