#include "making/point_pairs.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <optional>
#include <sstream>

#include "failure.h"
#include "input.h"
#include "inspection/text.h"

namespace {

std::string trimmed(const std::string& text) {
    constexpr const char* blanks = " \t\r\"";
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::string::npos
               ? ""
               : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string> cellsOf(const std::string& line) {
    std::vector<std::string> cells(1);
    for (const char letter : line) {
        if (letter == ',' || letter == ';') {
            cells.emplace_back();
        } else {
            cells.back() += letter;
        }
    }
    return cells;
}

/** The number in a cell, infinities and NaN as well; nothing if it is no number. */
std::optional<double> numberIn(const std::string& cell) {
    const std::string text = trimmed(cell);
    const char* const first = text.data() + (text.starts_with("+") ? 1 : 0);
    double value = 0;
    const auto [end, error] = std::from_chars(first, text.data() + text.size(), value);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole ? std::optional(value) : std::nullopt;
}

bool isPlace(const std::optional<double>& value) {
    return value && std::isfinite(*value) && std::abs(*value) <= 1e6;
}

}  // namespace

std::vector<PointPair> readPointPairs(const std::string& path) {
    std::istringstream input(readInput(path, std::size_t{64} << 20));
    std::vector<PointPair> pairs;
    std::string line;
    bool isFirst = true;
    for (int number = 1; std::getline(input, line); ++number) {
        // Spreadsheets begin their files with a byte order mark.
        const bool isMarked = number == 1 && line.starts_with("\xEF\xBB\xBF");
        const std::string text = trimmed(isMarked ? line.substr(3) : line);
        if (text.empty() || text.starts_with("#")) {
            continue;
        }
        const std::vector<std::string> cells = cellsOf(text);
        std::array<std::optional<double>, 4> values;
        bool good = cells.size() == values.size();
        bool hasNumber = false;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const std::optional<double> value = numberIn(cells[i]);
            hasNumber |= value.has_value();
            good &= isPlace(value);
            if (i < values.size()) {
                values[i] = value;
            }
        }
        // A header names all columns and holds no number.
        if (good) {
            pairs.push_back({{*values[0], *values[1]}, {*values[2], *values[3]}});
        } else if (!isFirst || hasNumber || cells.size() != values.size()) {
            throw Failure(inputName(path) + format(", line %d", number),
                          "is not four finite numbers of pixels, separated by commas",
                          "write straight column, straight row, recorded column, recorded row");
        }
        isFirst = false;
    }
    if (pairs.empty()) {
        throw Failure(inputName(path), "holds no pairs of points", "measure some");
    }
    return pairs;
}
