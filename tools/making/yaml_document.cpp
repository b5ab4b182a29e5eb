#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/yaml.h>

#include <map>
#include <sstream>
#include <utility>

#include "inspection/text.h"
#include "making/document_limits.h"

namespace {

/**
 * Builds the tree from what the parser meets. So nothing is built, and the parser does not go
 * deeper, before the limits have been asked; and an alias is what it stands for, counted as such.
 */
class TreeBuilder : public YAML::EventHandler {
  public:
    explicit TreeBuilder(DocumentLimits& limits) : limits_(limits) {}

    std::vector<Node> takeDocuments() { return std::move(documents_); }

    void OnDocumentStart(const YAML::Mark& mark) override {
        // At some tokens the parser begins one document after the other and goes no further.
        if (mark.pos == start_) {
            refuseLine(limits_.name(), lineOf(mark), "is not YAML");
        }
        start_ = mark.pos;
        anchors_.clear();
    }
    void OnDocumentEnd() override {}

    void OnNull(const YAML::Mark& mark, YAML::anchor_t anchor) override {
        add({Node::Kind::empty, lineOf(mark)}, anchor);
    }

    void OnScalar(const YAML::Mark& mark, const std::string& /*tag*/, YAML::anchor_t anchor,
                  const std::string& value) override {
        add({Node::Kind::scalar, lineOf(mark), value}, anchor);
    }

    void OnAlias(const YAML::Mark& mark, YAML::anchor_t anchor) override {
        const auto meant = anchors_.find(anchor);
        if (meant == anchors_.end()) {
            refuseLine(limits_.name(), lineOf(mark), "an alias stands inside what it stands for");
        }
        limits_.count(meant->second.weight, lineOf(mark));
        place(meant->second.node, meant->second.weight);
    }

    void OnSequenceStart(const YAML::Mark& mark, const std::string& /*tag*/, YAML::anchor_t anchor,
                         YAML::EmitterStyle::value /*style*/) override {
        open(Node::Kind::sequence, mark, anchor);
    }

    void OnMapStart(const YAML::Mark& mark, const std::string& /*tag*/, YAML::anchor_t anchor,
                    YAML::EmitterStyle::value /*style*/) override {
        open(Node::Kind::map, mark, anchor);
    }

    void OnSequenceEnd() override { close(); }

    void OnMapEnd() override {
        limits_.refuseDoubled(open_.back().node);
        close();
    }

  private:
    /** A node with the weight of all that it holds. */
    struct Weighed {
        Node node;
        std::size_t weight;
        YAML::anchor_t anchor;
    };

    static int lineOf(const YAML::Mark& mark) { return mark.is_null() ? 0 : mark.line + 1; }

    void add(Node&& node, YAML::anchor_t anchor) {
        const std::size_t weight = DocumentLimits::weightOf(node.text);
        limits_.count(weight, node.line);
        keep({std::move(node), weight, anchor});
    }

    void open(Node::Kind kind, const YAML::Mark& mark, YAML::anchor_t anchor) {
        const int line = lineOf(mark);
        const std::size_t weight = DocumentLimits::weightOf("");
        limits_.count(weight, line);
        open_.push_back({{kind, line}, weight, anchor});
        limits_.descend(open_.size(), line);
    }

    void close() {
        Weighed done = std::move(open_.back());
        open_.pop_back();
        keep(std::move(done));
    }

    void keep(Weighed&& done) {
        if (done.anchor != YAML::NullAnchor) {
            limits_.count(done.weight, done.node.line);
            anchors_[done.anchor] = done;
        }
        place(std::move(done.node), done.weight);
    }

    void place(Node node, std::size_t weight) {
        if (open_.empty()) {
            // An empty one stands behind the mark that ends each message of ROS.
            if (node.kind != Node::Kind::empty) {
                documents_.push_back(std::move(node));
            }
            return;
        }
        Node& parent = open_.back().node;
        open_.back().weight += weight;
        const bool isKey = parent.isMap() && parent.keys.size() == parent.items.size();
        (isKey ? parent.keys : parent.items).push_back(std::move(node));
    }

    DocumentLimits& limits_;
    int start_ = -1; /**< where the document begins */
    std::vector<Weighed> open_;
    std::map<YAML::anchor_t, Weighed> anchors_;
    std::vector<Node> documents_;
};

/** The parser's words on an error, where they are whole; some end where a quotation should be. */
std::string wordsOf(const YAML::Exception& error) {
    const std::string words = shortened(shown(error.msg), 80);
    return words.empty() || words.find(": ") != std::string::npos ? ""
                                                                  : format(" (%s)", words.c_str());
}

}  // namespace

std::vector<Node> yamlDocuments(const std::string& text, DocumentLimits& limits) {
    // FileStorage begins with %YAML:1.0, which is no YAML directive. A comment keeps the lines.
    std::string readable = text;
    if (readable.starts_with("%YAML:")) {
        readable.front() = '#';
    }
    std::istringstream stream(readable);
    TreeBuilder builder(limits);
    try {
        YAML::Parser parser(stream);
        while (parser.HandleNextDocument(builder)) {
        }
    } catch (const YAML::Exception& error) {
        refuseLine(limits.name(), error.mark.is_null() ? 0 : error.mark.line + 1,
                   "is not YAML" + wordsOf(error));
    }
    return builder.takeDocuments();
}
