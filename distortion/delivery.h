/**
 * The delivery of two maps into a caller's arrays, in two halves: whether the arrays take them, and
 * the elements. A map request makes the first half and then computes straight into the arrays.
 */
#ifndef CALIBMAP_DISTORTION_DELIVERY_H
#define CALIBMAP_DISTORTION_DELIVERY_H

#include "calibmap.h"

namespace calibmap {

/** What `extractDistData2CamDistortionLUT` answers, with its report, before it writes anything. */
int32_t acceptDelivery(const Mat* mapX, const Mat* mapY, const CamDistortionLUT* lut);

}  // namespace calibmap

#endif
