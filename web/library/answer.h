#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "inspection/contour.h"
#include "inspection/describe.h"

/**
 * Writes records as the page's reader.js reads them: each value behind a letter that tells its
 * kind. n is a number of 8 bytes, t and f are true and false, s is a text behind its length, l are
 * values behind their number, o are names with their values up to a 0, b and p are bytes and the
 * coordinates of points behind their number, both as they stand in memory. Numbers are
 * little-endian, as WebAssembly is.
 */
struct Answer {
    std::string bytes;

    /** `out` of `describe`. */
    template <class Value>
    void operator()(const std::string& name, const Value& value) {
        put(name);
        put(value);
    }
    template <class Value>
    void operator()(const std::string& name, const std::optional<Value>& value) {
        if (value) {
            (*this)(name, *value);
        }
    }

    void put(bool value) { bytes += value ? 't' : 'f'; }
    void put(const std::string& value) {
        begin('s', value.size());
        bytes += value;
    }
    void put(const std::vector<uint8_t>& value) { putRaw('b', value); }
    void put(const Polyline& points) { putRaw('p', points); }

    template <class Value>
    void put(const std::vector<Value>& values) {
        begin('l', values.size());
        for (const Value& value : values) {
            put(value);
        }
    }
    template <class Value>
    void put(const Value& value) {
        if constexpr (std::is_arithmetic_v<Value>) {
            bytes += 'n';
            append(static_cast<double>(value));
        } else {
            bytes += 'o';
            describe(*this, value);
            bytes += '\0';
        }
    }

  private:
    template <class Number>
    void append(Number number) {
        char raw[sizeof number];
        std::memcpy(raw, &number, sizeof number);
        bytes.append(raw, sizeof raw);
    }
    void begin(char kind, std::size_t count) {
        bytes += kind;
        append(static_cast<uint32_t>(count));
    }
    template <class Value>
    void putRaw(char kind, const std::vector<Value>& values) {
        begin(kind, values.size());
        bytes.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(Value));
    }
};
