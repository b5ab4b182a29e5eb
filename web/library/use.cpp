// Whether an accepted file can be used: the rules of `calibmap check`, over the library of the
// page.
#include "inspection/use.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "inspection/evaluation.h"
#include "inspection/text.h"

namespace {

/** The map is not made to find out: a page has less memory than a device. */
std::string refusalOfMap(const Image& image, Direction direction) {
    return Evaluation(image, direction).at({0, 0})
               ? ""
               : format("the library refuses its models (status %d)", CALIBMAP_STEP_FAILED);
}

}  // namespace

/**
 * The findings on an image whose checksums and pass flag hold, one a line: all that keeps it from
 * being used, or how well its maps agree. The text is good until the next call.
 */
extern "C" const char* examineUse(const uint8_t* bytes, int32_t* isUsable) {
    static std::string findings;
    Image image{};
    std::copy_n(bytes, image.size(), image.begin());
    const Use use = useOf(image, usualTolerance, refusalOfMap);
    *isUsable = use.faults.empty() ? 1 : 0;
    findings = use.faults.empty() ? agreementOf(*use.trip) + '\n' : "";
    for (const std::string& fault : use.faults) {
        findings += fault + '\n';
    }
    return findings.c_str();
}
