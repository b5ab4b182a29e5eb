#include "making/document.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "failure.h"
#include "inspection/text.h"
#include "making/document_limits.h"

namespace {

// Matrices of matrices with their names are five deep.
constexpr std::size_t deepest = 32;
constexpr std::size_t heaviest = std::size_t{8} << 20;

}  // namespace

const Node* Node::at(const std::string& key) const {
    const auto found = std::find_if(keys.begin(), keys.end(), [&](const Node& candidate) {
        return candidate.isScalar() && candidate.text == key;
    });
    return found == keys.end() ? nullptr : &items[static_cast<std::size_t>(found - keys.begin())];
}

bool Node::hasAny(const std::vector<std::string>& wanted) const {
    return std::any_of(wanted.begin(), wanted.end(),
                       [&](const std::string& key) { return at(key) != nullptr; });
}

void refuseLine(const std::string& name, int line, const std::string& wrong,
                const std::string& remedy) {
    throw Failure(name + (line > 0 ? format(", line %d", line) : ""), wrong, remedy);
}

void DocumentLimits::count(std::size_t weight, int line) {
    weight_ += weight;
    if (weight_ > heaviest) {
        refuseLine(name_, line, "holds more than a calibration does",
                   "check that it is the right file");
    }
}

void DocumentLimits::descend(std::size_t depth, int line) const {
    if (depth > deepest) {
        refuseLine(name_, line, "is nested deeper than a calibration is",
                   "check that it is the right file");
    }
}

void DocumentLimits::refuseDoubled(const Node& map) const {
    std::set<std::string_view> known;
    for (const Node& key : map.keys) {
        if (key.isScalar() && !known.insert(key.text).second) {
            refuseLine(name_, key.line, quoted(key.text) + " stands there a second time");
        }
    }
}

std::vector<Node> documentsFrom(const std::string& text, const std::string& name) {
    DocumentLimits limits(name);
    const std::size_t first = text.find_first_not_of("\xEF\xBB\xBF \t\r\n");
    const bool isXml = first != std::string::npos && text[first] == '<';
    return isXml ? xmlDocuments(text, limits) : yamlDocuments(text, limits);
}
