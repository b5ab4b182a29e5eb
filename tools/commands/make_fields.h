#pragma once

#include <optional>

#include "calibration/image.h"
#include "commands/make_options.h"
#include "commands/make_report.h"
#include "lens/model.h"

/** What `make` starts from: the file that was named, or an empty one that passes. */
Image startingImage(const MakeOptions& options);

/**
 * Fills in everything but the models and the checksums, and reports where it comes from. Returns
 * the lens of the main camera when a calibration describes it.
 */
std::optional<Lens> storeFields(const MakeOptions& options, Image& image, MakeReport& report);
