#pragma once

#include <cstddef>
#include <string>
#include <vector>

/** How the value of a field is to be read. */
enum class FieldType { byte, int32, float32, word };

/** `count` values of one type that stand in the file one after the other. */
struct Field {
    std::string name;
    std::size_t offset;
    FieldType type;
    std::size_t count;
};

/** Size of one value in bytes. */
std::size_t sizeOf(FieldType type);

/** True for break points and coefficients of the correction models. */
bool belongsToModel(const Field& field);

/** Every field that has a name, in file order. */
const std::vector<Field>& namedFields();
