#include <algorithm>
#include <pugixml.hpp>
#include <string_view>

#include "inspection/text.h"
#include "making/document_limits.h"

namespace {

constexpr const char* blanks = " \t\r\n";

/** What FileStorage writes in XML, as it would be in YAML. */
class TreeReader {
  public:
    TreeReader(const std::string& text, DocumentLimits& limits) : limits_(limits) {
        for (std::size_t at = text.find('\n'); at != std::string::npos;
             at = text.find('\n', at + 1)) {
            ends_.push_back(static_cast<std::ptrdiff_t>(at));
        }
    }

    int lineAt(std::ptrdiff_t offset) const {
        return 1 + static_cast<int>(std::lower_bound(ends_.begin(), ends_.end(), offset) -
                                    ends_.begin());
    }

    Node read(const pugi::xml_node& element, std::size_t depth) {
        const int line = lineAt(element.offset_debug());
        limits_.descend(depth, line);
        count("", line);
        const pugi::xml_node first = element.find_child(
            [](const pugi::xml_node& child) { return child.type() == pugi::node_element; });
        if (!first) {
            return textOf(element, line);
        }
        const bool isSequence = std::string_view(first.name()) == "_";
        Node node = {isSequence ? Node::Kind::sequence : Node::Kind::map, line};
        for (const pugi::xml_node& child : element.children()) {
            if (child.type() == pugi::node_element) {
                if (!isSequence) {
                    const int place = lineAt(child.offset_debug());
                    count(child.name(), place);
                    node.keys.push_back({Node::Kind::scalar, place, child.name()});
                }
                node.items.push_back(read(child, depth + 1));
            }
        }
        limits_.refuseDoubled(node);
        return node;
    }

  private:
    void count(const std::string& text, int line) {
        limits_.count(DocumentLimits::weightOf(text), line);
    }

    /** One word, or several as a sequence: matrices list their numbers with blanks between them. */
    Node textOf(const pugi::xml_node& element, int line) {
        std::vector<Node> words;
        for (const pugi::xml_node& child : element.children()) {
            const bool isText =
                child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata;
            const std::string_view text = isText ? child.value() : "";
            int place = isText ? lineAt(child.offset_debug()) : line;
            std::size_t seen = 0;
            for (std::size_t at = text.find_first_not_of(blanks); at != std::string_view::npos;) {
                const std::size_t end = std::min(text.find_first_of(blanks, at), text.size());
                place += static_cast<int>(
                    std::count(text.begin() + static_cast<std::ptrdiff_t>(seen),
                               text.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
                seen = at;
                const std::string word(text.substr(at, end - at));
                count(word, place);
                words.push_back({Node::Kind::scalar, place, word});
                at = text.find_first_not_of(blanks, end);
            }
        }
        if (words.size() == 1) {
            return std::move(words.front());
        }
        Node node = {words.empty() ? Node::Kind::empty : Node::Kind::sequence, line};
        node.items = std::move(words);
        return node;
    }

    DocumentLimits& limits_;
    std::vector<std::ptrdiff_t> ends_; /**< where the lines end */
};

}  // namespace

std::vector<Node> xmlDocuments(const std::string& text, DocumentLimits& limits) {
    TreeReader reader(text, limits);
    pugi::xml_document document;
    // The parser follows no reference out of the text, and builds nothing of a document type.
    const pugi::xml_parse_result result = document.load_buffer(text.data(), text.size());
    if (!result) {
        refuseLine(limits.name(), reader.lineAt(result.offset),
                   std::string("is not XML (") + result.description() + ")");
    }
    const pugi::xml_node root = document.document_element();
    if (std::string_view(root.name()) != "opencv_storage") {
        refuseLine(limits.name(), reader.lineAt(root.offset_debug()),
                   "is XML that begins with " + quoted(root.name()) + ", not with opencv_storage");
    }
    std::vector<Node> documents = {reader.read(root, 1)};
    return documents;
}
