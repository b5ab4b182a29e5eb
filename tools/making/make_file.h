#pragma once

#include <optional>
#include <string>
#include <vector>

#include "inspection/image.h"
#include "making/lens_view.h"
#include "making/make_report.h"
#include "making/point_pairs.h"

/** What to do with a file image whose cameras are filled in. */
struct Making {
    std::optional<LensView> view; /**< what the models are fitted to, */
    std::vector<PointPair> pairs; /**< but to these where there are some */
    std::vector<std::string> set; /**< fields with the values that they get last of all */
    std::string residuals;        /**< the picture of what is left; empty for none */
    std::string remedy;           /**< for a file that no device could use */
    bool isUnproved = false;
};

/**
 * Fits models where there is something to fit, proves the file and writes it. The report, whose
 * file and tolerance are given, is filled in on the way, so that it tells of a refusal as well.
 * Throws a `Failure` and writes nothing when a map is too far from what it was fitted to, and when
 * a device could not use the file; but not of a pass flag, which says so itself.
 */
void makeFile(const Making& making, Image& image, MakeReport& report);
