#include "making/set_fields.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <optional>
#include <string_view>
#include <utility>

#include "failure.h"
#include "inspection/fields.h"
#include "inspection/text.h"
#include "making/producer.h"
#include "number.h"

namespace {

/** What people call fields whose names in the table are shorter, or longer. */
const std::vector<std::pair<std::string, std::string>> usualNames = {
    {"passflag", "pass"}, {"main.kx", "main.xorder"}, {"main.ky", "main.yorder"}};

/** A name without what people write differently. */
std::string plainName(std::string name) {
    std::erase(name, '-');
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return name;
}

/** How many letters have to be put in, taken out or changed to make one text the other. */
std::size_t editsBetween(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t changed = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

const Field& fieldCalled(const std::string& name) {
    const std::string plain = plainName(name.substr(0, 80));
    std::vector<std::pair<std::size_t, const Field*>> nearest;
    for (const Field& field : namedFields()) {
        const std::string own = plainName(field.name);
        std::size_t edits = editsBetween(plain, own);
        for (const auto& [known, usual] : usualNames) {
            edits = own == known ? std::min(edits, editsBetween(plain, usual)) : edits;
        }
        nearest.emplace_back(edits, &field);
    }
    std::stable_sort(nearest.begin(), nearest.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    if (nearest[0].first != 0) {
        throw Failure("--set", "there is no field " + quoted(name),
                      "nearest are " + nearest[0].second->name + ", " + nearest[1].second->name +
                          " and " + nearest[2].second->name);
    }
    return *nearest[0].second;
}

std::optional<uint32_t> hexadecimal(std::string_view digits) {
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(digits.begin(), digits.end(), value, 16);
    return error == std::errc() && end == digits.end() ? std::optional(value) : std::nullopt;
}

/** The bits of one value of this type. */
std::optional<uint32_t> bitsOf(FieldType type, std::string_view text) {
    if (type == FieldType::word && text.starts_with("0x") && text.size() == 10) {
        return hexadecimal(text.substr(2));
    }
    const double value = numberFrom(text).value_or(NAN);
    if (type == FieldType::float32 || type == FieldType::word) {
        const auto rounded = static_cast<float>(value);
        return std::isfinite(rounded) ? std::optional(std::bit_cast<uint32_t>(rounded))
                                      : std::nullopt;
    }
    const bool fits = type == FieldType::byte ? value >= 0 && value <= UINT8_MAX
                                              : value >= INT32_MIN && value <= INT32_MAX;
    return fits && value == std::floor(value)
               ? std::optional(static_cast<uint32_t>(static_cast<int32_t>(value)))
               : std::nullopt;
}

/** The bits of all values of a field; nothing when they are not what it holds. */
std::optional<std::vector<uint32_t>> valuesFor(const Field& field, const std::string& text) {
    std::vector<uint32_t> values;
    const bool isBytes = field.type == FieldType::word && text.size() == 8 * field.count;
    const std::vector<std::string_view> cells = cellsOf(text);
    for (std::size_t i = 0; i < field.count; ++i) {
        std::optional<uint32_t> value;
        if (isBytes && cells.size() == 1) {
            value = hexadecimal(std::string_view(text).substr(8 * i, 8));
            value = value ? std::optional(__builtin_bswap32(*value)) : std::nullopt;
        } else if (cells.size() == field.count) {
            value = bitsOf(field.type, cells[i]);
        }
        if (!value) {
            return std::nullopt;
        }
        values.push_back(*value);
    }
    return values;
}

std::string valuesOf(const Field& field) {
    constexpr std::array kinds = {"whole from 0 to 255", "whole", "finite numbers",
                                  "finite numbers or 0x words, or all bytes in hexadecimal"};
    return format("it takes %zu %s: ", field.count,
                  field.count == 1 ? "value" : "values with commas") +
           kinds.at(static_cast<std::size_t>(field.type));
}

}  // namespace

std::string setField(Image& image, const std::string& assignment) {
    const std::size_t mark = assignment.find('=');
    if (mark == std::string::npos) {
        throw Failure("--set", quoted(assignment) + " gives no value", "write FIELD=VALUE");
    }
    const Field& field = fieldCalled(assignment.substr(0, mark));
    const std::string text = assignment.substr(mark + 1);
    const std::optional<std::vector<uint32_t>> values = valuesFor(field, text);
    if (!values) {
        throw Failure("--set " + field.name, quoted(text) + " is not what it holds",
                      valuesOf(field));
    }
    std::size_t offset = field.offset;
    for (const uint32_t value : *values) {
        for (std::size_t byte = 0; byte < sizeOf(field.type); ++byte) {
            image[offset++] = static_cast<uint8_t>(value >> (8 * byte));
        }
    }
    return field.name;
}

std::string settableFields() {
    std::string list;
    std::size_t column = 0;
    for (const Field& field : namedFields()) {
        const std::string name =
            field.name + (field.count == 1 ? "" : format("[%zu]", field.count));
        const bool isFull = column + name.size() > 92;
        list += (list.empty() ? "" : isFull ? ",\n" : ", ") + name;
        column = (isFull ? 0 : column) + name.size() + 2;
    }
    return list;
}
