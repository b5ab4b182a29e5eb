#include "inspection/check.h"

#include "inspection/text.h"

namespace {

bool isAccepted(const Check& check) {
    return check.verdict.status == CALIBMAP_SUCCESS;
}

RangeInWords inWords(const CheckedRange& range) {
    return {range.name,
            format("%zu..%zu", range.first, range.first + range.size - 1),
            hexText(range.stored, 2),
            hexText(range.computed, 2),
            range.size,
            range.stored != range.computed};
}

}  // namespace

Check checkOf(const std::string& name, const Image& image, double tolerance) {
    Check check = {name, judge(image), {}, checkedRanges(image), false};
    if (isAccepted(check)) {
        check.usability = usabilityOf(image, tolerance);
        check.isUsable = check.usability.faults.empty();
    }
    return check;
}

Check checkOf(const std::string& name, const Verdict& verdict) {
    return {name, verdict, {}, {}, false};
}

std::string sentenceOf(const Check& check) {
    const std::string name = check.name + ": ";
    if (!isAccepted(check)) {
        return name + sentenceOf(check.verdict);
    }
    return check.isUsable
               ? name + "accepted and usable, status 0, " +
                     agreementOf(*check.usability.roundTrip) + ", " +
                     sentenceOf(*check.usability.bend)
               : name +
                     "accepted but not usable, status 0: " + joined(check.usability.faults, "; ");
}

CheckInWords inWords(const Check& check) {
    CheckInWords words{};
    words.isUsable = check.isUsable;
    words.status = check.verdict.status;
    if (!isAccepted(check)) {
        words.headline = "Refused: a device does not take this file";
        words.reasons = {check.verdict.reason};
        words.remedy = check.verdict.remedy;
    } else if (!check.isUsable) {
        words.headline = "Accepted but not usable: a device takes this file, but cannot use it";
        words.reasons = check.usability.faults;
        words.remedy = calibrateAgain;
    } else {
        words.headline = "Accepted and usable: a device takes this file";
        words.agreement = "The " + agreementOf(*check.usability.roundTrip) + ", " +
                          sentenceOf(*check.usability.bend) + ".";
    }
    for (const CheckedRange& range : check.ranges) {
        words.ranges.push_back(inWords(range));
    }
    return words;
}
