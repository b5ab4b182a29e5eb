#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inspection/image.h"
#include "inspection/map.h"
#include "inspection/statistics.h"
#include "inspection/verdict.h"

struct PixelValues;

/** How one field, or one of its values, differs between two files. */
struct FieldDifference {
    std::string name;
    std::string text; /**< both values, or how many differ and by how much */
    bool isParameter; /**< a field that is not judged by the map of its model, and no checksum */
};

/** The fields, checksums and reserved bytes that differ, in file order. */
std::vector<FieldDifference> fieldDifferencesOf(const Image& first, const Image& second);

/** How the maps of one direction differ. */
struct DirectionDifference {
    Direction direction;
    std::string whyNot;              /**< not compared; empty when they were */
    std::optional<Statistics> apart; /**< of maps that were compared */
    bool agree;
    std::string sentence; /**< for people: "maps differ: largest difference ..." */
};

/**
 * Compares the maps of one direction at every pixel. With `values`, collects there what a picture
 * of this width shows. Nothing when there is not the memory.
 */
std::optional<DirectionDifference> directionDifferenceOf(
    const Image& first, const Image& second, const std::string& firstName,
    const std::string& secondName, Direction direction, double tolerance,
    PixelValues* values = nullptr, int32_t width = 0, const Reached& reached = nullptr);

/** All that is said of two files. */
struct Difference {
    std::array<std::string, 2> names; /**< as `shown` returns them */
    std::array<Verdict, 2> verdicts;
    std::vector<DirectionDifference> maps;
    std::vector<FieldDifference> fields;
};

/** One line for people: "lens.bin: undistort maps agree: ..., distort maps ..., fields: ...". */
std::string sentenceOf(const Difference& difference);

/** True when the library says the same of both and both pairs of maps agree. */
bool mapsAgree(const Difference& difference);

/** True when cameras and extrinsics are the same, too. */
bool parametersAgree(const Difference& difference);
