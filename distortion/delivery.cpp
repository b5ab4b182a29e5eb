#include "distortion/delivery.h"

#include "arithmetic/elementwise.h"
#include "container/diagnostics.h"
#include "container/protocol.h"

namespace calibmap {

int32_t acceptDelivery(const Mat* mapX, const Mat* mapY, const CamDistortionLUT* lut) {
    if (mapY == nullptr || mapX == nullptr || lut == nullptr) {
        return CALIBMAP_STEP_FAILED;
    }
    if (mapX->cols != mapY->cols || mapX->rows != mapY->rows) {
        return CALIBMAP_STEP_FAILED;
    }
    if (mapX->rows != lut->rows || mapX->cols != lut->cols) {
        report("%s line:%d leave. input mat size(%d, %d) != output mat size(%d, %d)",
               "extractDistData2CamDistortionLUT", 533, mapX->rows, mapX->cols, lut->rows,
               lut->cols);
        return CALIBMAP_STEP_FAILED;
    }
    return CALIBMAP_SUCCESS;
}

}  // namespace calibmap

using namespace calibmap;

int32_t extractDistData2CamDistortionLUT(const Mat* mapX, const Mat* mapY,
                                         const CamDistortionLUT* lut) {
    const int32_t accepted = acceptDelivery(mapX, mapY, lut);
    if (accepted == CALIBMAP_SUCCESS && mapX->rows >= 1) {
        roundToFloats(mapX->data, mapY->data, elementCount(*mapX), lut->x, lut->y);
    }
    return accepted;
}
