#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "inspection/image.h"
#include "inspection/map.h"
#include "inspection/statistics.h"

/** One row of distances, in pixels; one that no number counts is not a number. */
using VisitRow = std::function<void(int32_t row, const std::vector<float>& distances)>;

/**
 * How far the model of one direction moves each pixel, some rows at a time. Nothing when the
 * library refuses the model.
 */
std::optional<Statistics> displacementOf(const Image& image, Direction direction,
                                         const VisitRow& visit, const Reached& reached = nullptr);

/**
 * How far apart the maps of one direction of two files with the same image size take each pixel,
 * some rows at a time, so that long maps take little memory; `visit` may be empty. Nothing when the
 * library refuses a model.
 */
std::optional<Statistics> mapDifferenceOf(const Image& first, const Image& second,
                                          Direction direction, const VisitRow& visit,
                                          const Reached& reached = nullptr);
