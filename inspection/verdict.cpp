#include "inspection/verdict.h"

#include "inspection/text.h"

std::string sizeFaultOf(std::size_t size) {
    return format("has %zu bytes, and a calibration file %d", size, CALIBMAP_FILE_SIZE);
}

Verdict unreadable(const std::string& reason) {
    return {CALIBMAP_FILE_UNREADABLE, reason,
            "check its size and permissions, or copy it from the device again"};
}

Verdict judge(const Image& image) {
    if (checksumTest(image.data()) != 0) {
        std::string wrong;
        for (const CheckedRange& range : checkedRanges(image)) {
            if (range.stored != range.computed) {
                wrong += (wrong.empty() ? "" : " and ") + range.name;
            }
        }
        return {CALIBMAP_CHECKSUM_WRONG, "the checksum does not hold (" + wrong + ")",
                std::string("copy it from the device again or ") + calibrateAgain};
    }
    if (image[CALIBMAP_PASS_FLAG] != 1) {
        return {CALIBMAP_NOT_PASSED,
                "the pass flag is " + std::to_string(image[CALIBMAP_PASS_FLAG]) +
                    ", so the calibration failed",
                calibrateAgain};
    }
    return {CALIBMAP_SUCCESS, "", ""};
}

std::string sentenceOf(const Verdict& verdict) {
    return verdict.status == CALIBMAP_SUCCESS
               ? "accepted, status 0"
               : format("refused, status %d: %s, %s", verdict.status, verdict.reason.c_str(),
                        verdict.remedy.c_str());
}

bool hasBeenRead(const Verdict& verdict) {
    return verdict.status != CALIBMAP_FILE_MISSING && verdict.status != CALIBMAP_FILE_UNREADABLE;
}

std::vector<CheckedRange> checkedRanges(const Image& image) {
    const auto range = [&image](const char* name, std::size_t first, int32_t size) {
        return CheckedRange{name, first, static_cast<std::size_t>(size),
                            image[first + static_cast<std::size_t>(size)],
                            calibrationChecksum(image.data() + first, size)};
    };
    return {range("main camera", CALIBMAP_MAIN_BLOCK, CALIBMAP_MAIN_BLOCK_SIZE),
            range("sub camera", CALIBMAP_SUB_BLOCK, CALIBMAP_SUB_BLOCK_SIZE),
            range("extrinsics", CALIBMAP_EXTRINSIC_BLOCK, CALIBMAP_EXTRINSIC_BLOCK_SIZE),
            range("whole file", 0, CALIBMAP_CHECKED_SIZE)};
}
