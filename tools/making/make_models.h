#pragma once

#include <optional>
#include <vector>

#include "drawing/residuals.h"
#include "inspection/image.h"
#include "making/make_report.h"
#include "making/point_pairs.h"
#include "making/proof.h"

/** What there is to fit, and what it was measured from. */
struct FitSource {
    std::optional<View> view;
    std::vector<PointPair> pairs;
};

/** Fits both models to the points, or to the lens where there are none, and stores them. */
void storeModels(const FitSource& source, Image& image, MakeReport& report);

/** Compares both maps of the finished file with what they were fitted to, and reports it. */
std::vector<ResidualPanel> compareMaps(const FitSource& source, const Image& image,
                                       MakeReport& report);

/** Throws a `Failure` with the figures when one of the maps is too far off. */
void refusePoorModels(const MakeReport& report);
