#pragma once

#include <optional>
#include <string>
#include <vector>

#include "inspection/fields.h"
#include "inspection/figure.h"
#include "inspection/image.h"
#include "inspection/statistics.h"

/** How one field differs between two files. */
struct FieldDifference {
    std::string name;
    std::string text;        /**< both values, or how many differ and by how much */
    bool belongsToModel;     /**< judged by its map */
};

/** The fields, checksums and reserved bytes that differ, in file order. */
std::vector<FieldDifference> fieldDifferencesOf(const Image& first, const Image& second);

/** How the maps of one direction differ. */
struct DirectionDifference {
    Direction direction;
    std::string whyNot;               /**< not compared; empty when they were */
    std::optional<Statistics> apart;  /**< of maps that were compared */
    bool agree;
    std::string sentence;             /**< for people: "maps differ: largest difference ..." */
};

/**
 * Compares the maps of one direction at every pixel. With `values`, collects there what a picture
 * of this width shows. Nothing when there is not the memory.
 */
std::optional<DirectionDifference> directionDifferenceOf(const Image& first, const Image& second,
                                                         const std::string& firstName,
                                                         const std::string& secondName,
                                                         Direction direction, double tolerance,
                                                         PixelValues* values, int32_t width,
                                                         const Reached& reached);
