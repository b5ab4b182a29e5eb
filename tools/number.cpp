#include "number.h"

#include <algorithm>
#include <charconv>

namespace {

std::string_view without(std::string_view text, const char* around) {
    const std::size_t first = text.find_first_not_of(around);
    return first == std::string_view::npos
               ? std::string_view()
               : text.substr(first, text.find_last_not_of(around) - first + 1);
}

}  // namespace

std::optional<double> numberFrom(std::string_view text) {
    if (text.starts_with("+") && !text.starts_with("+-")) {
        text.remove_prefix(1);
    }
    double value = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, value);
    const bool isWhole = error == std::errc() && end == last;
    return isWhole ? std::optional(value) : std::nullopt;
}

std::vector<std::string_view> cellsOf(std::string_view line) {
    std::vector<std::string_view> cells;
    for (std::size_t first = 0; first <= line.size();) {
        const std::size_t end = std::min(line.find_first_of(",;", first), line.size());
        cells.push_back(without(line.substr(first, end - first), " \t\r\""));
        first = end + 1;
    }
    return cells;
}

std::string_view trimmed(std::string_view text) {
    return without(text, " \t\r");
}
