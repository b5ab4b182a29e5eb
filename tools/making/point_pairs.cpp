#include "making/point_pairs.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <optional>
#include <string_view>

#include "failure.h"
#include "input.h"
#include "inspection/text.h"
#include "number.h"

namespace {

constexpr std::size_t longestText = std::size_t{16} << 20;
constexpr std::size_t longestLine = 1000;
// A fit gains nothing from more, and would take minutes over millions.
constexpr std::size_t mostPairs = 100000;

constexpr const char* advice = "write straight column, straight row, recorded column, recorded row";

bool isPlace(const std::optional<double>& value) {
    return value && std::isfinite(*value) && std::abs(*value) <= 1e6;
}

}  // namespace

std::vector<PointPair> pointPairsFrom(std::string_view text, const std::string& name) {
    std::vector<PointPair> pairs;
    bool isFirst = true;
    // Spreadsheets begin their files with a byte order mark.
    std::size_t first = text.starts_with("\xEF\xBB\xBF") ? 3 : 0;
    for (int number = 1; first < text.size(); ++number) {
        const std::size_t end = std::min(text.find('\n', first), text.size());
        const std::string_view line = trimmed(text.substr(first, end - first));
        first = end + 1;
        if (line.empty() || line.starts_with("#")) {
            continue;
        }
        const std::string subject = name + format(", line %d", number);
        if (line.size() > longestLine) {
            throw Failure(subject, format("has %zu bytes, too many for four numbers", line.size()),
                          advice);
        }
        const std::vector<std::string_view> cells = cellsOf(line);
        std::array<std::optional<double>, 4> values;
        bool good = cells.size() == values.size();
        bool hasNumber = false;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const std::optional<double> value = numberFrom(cells[i]);
            hasNumber |= value.has_value();
            good &= isPlace(value);
            if (i < values.size()) {
                values[i] = value;
            }
        }
        // A header names all columns and holds no number.
        if (good && pairs.size() == mostPairs) {
            throw Failure(subject, format("is one more than %zu pairs of points", mostPairs),
                          "keep some of them");
        }
        if (good) {
            pairs.push_back({{*values[0], *values[1]}, {*values[2], *values[3]}});
        } else if (!isFirst || hasNumber || cells.size() != values.size()) {
            throw Failure(subject, "is not four finite numbers of pixels, separated by commas",
                          advice);
        }
        isFirst = false;
    }
    if (pairs.empty()) {
        throw Failure(name, "holds no pairs of points", "measure some");
    }
    return pairs;
}

std::vector<PointPair> readPointPairs(const std::string& path) {
    return pointPairsFrom(readInput(path, longestText), inputName(path));
}
