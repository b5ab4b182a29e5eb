#pragma once

#include <optional>

#include "inspection/image.h"
#include "making/make_options.h"
#include "making/make_report.h"
#include "making/model.h"

/** What `make` starts from: the file that was named, or an empty one that passes. */
Image startingImage(const MakeOptions& options);

/**
 * Fills in everything but the models and the checksums, and reports where it comes from. Returns
 * the lens of the main camera when a calibration describes it.
 */
std::optional<Lens> storeFields(const MakeOptions& options, Image& image, MakeReport& report);
