#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/** The number that a text is, as a whole and nothing else; nothing for "+-3", "", "1x". Infinities
 * and NaN are for the caller to refuse, who knows what the number is for. */
std::optional<double> numberFrom(std::string_view text);

/** What stands between the commas or semicolons of a line, without blanks and quotes around it. */
std::vector<std::string_view> cellsOf(std::string_view line);

/** A text without the blanks around it. */
std::string_view trimmed(std::string_view text);
