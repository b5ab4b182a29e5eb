#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "making/document.h"

/** Refuses texts that become larger or deeper in memory than a calibration ever is. */
class DocumentLimits {
  public:
    explicit DocumentLimits(std::string name) : name_(std::move(name)) {}

    const std::string& name() const { return name_; }

    /** The memory of a node that holds a text, not of what lies below it. */
    static std::size_t weightOf(const std::string& text) { return sizeof(Node) + text.size(); }

    /** Counts memory that is about to be used. */
    void count(std::size_t weight, int line);

    /** Refuses a part that lies below so many others. */
    void descend(std::size_t depth, int line) const;

    /** Refuses a map that holds a key twice: which of the two counts depends on the reader. */
    void refuseDoubled(const Node& map) const;

  private:
    std::string name_;
    std::size_t weight_ = 0;
};

std::vector<Node> yamlDocuments(const std::string& text, DocumentLimits& limits);
std::vector<Node> xmlDocuments(const std::string& text, DocumentLimits& limits);
