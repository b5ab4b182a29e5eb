#pragma once

#include "inspection/image.h"
#include "making/model.h"

/** An empty file that passes and has the shape of our models. */
Image emptyImage();

/** Six 32-bit words, as each camera's further parameters and the extrinsics are. */
using Words = std::array<uint32_t, CALIBMAP_COEFF_COUNT>;

/** A camera as a file holds it, in single precision. */
CameraIntrinsics intrinsicsFrom(const Camera& camera, const Words& coeff);

/** k1, k2, p1, p2, k3 and 0, as floats: what our files have in a camera's further parameters. */
Words coefficientsFrom(const Lens& lens);
inline constexpr const char* coefficientsInWords = "k1, k2, p1, p2, k3, 0 of the lens";

/** Each of these changes one part of a file image and leaves the checksums to `seal`. */
void storeCamera(Image& image, std::size_t block, const CameraIntrinsics& camera);
void storeModel(Image& image, Direction direction, const CorrectionModel& model);

/** Puts all four checksums in place. */
void seal(Image& image);
