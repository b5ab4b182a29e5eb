#pragma once

#include <cstddef>
#include <string>
#include <vector>

/** A part of a calibration's text, the same for YAML, JSON and XML. */
struct Node {
    enum class Kind { empty, scalar, sequence, map };

    Kind kind = Kind::empty;
    int line = 0;
    std::string text = {};        /**< of a scalar */
    std::vector<Node> keys = {};  /**< of a map */
    std::vector<Node> items = {}; /**< of a sequence, or the values of a map's keys */

    bool isMap() const { return kind == Kind::map; }
    bool isSequence() const { return kind == Kind::sequence; }
    bool isScalar() const { return kind == Kind::scalar; }

    /** The value of a key of a map; null if there is none. */
    const Node* at(const std::string& key) const;

    /** True when this is a map with one of these keys. */
    bool hasAny(const std::vector<std::string>& wanted) const;
};

/** What is asked of people whose calibration is broken. */
inline constexpr const char* calibrationRemedy = "correct the file or calibrate again";

/** Throws a `Failure` about a line of a text; 0 when no line is to blame. */
[[noreturn]] void refuseLine(const std::string& name, int line, const std::string& wrong,
                             const std::string& remedy = calibrationRemedy);

/** The largest calibration that is read, in bytes; usual ones have a few thousand. */
inline constexpr std::size_t longestDocument = std::size_t{1} << 20;

/**
 * The documents of a text that are not empty. Throws a `Failure`, in which `name` is the text's,
 * when it is neither YAML nor XML, when a key stands twice, and before it takes more memory, time
 * or stack than a calibration is worth.
 */
std::vector<Node> documentsFrom(const std::string& text, const std::string& name);
