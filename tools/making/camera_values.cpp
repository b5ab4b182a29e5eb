#include "making/camera_values.h"

#include <algorithm>
#include <cmath>

#include "failure.h"
#include "input.h"
#include "inspection/image.h"
#include "inspection/text.h"
#include "number.h"

namespace {

/** As many of these as a line has room for. */
std::string listOf(const std::vector<std::string>& words) {
    constexpr std::size_t most = 12;
    std::string list;
    for (std::size_t i = 0; i < std::min(most, words.size()); ++i) {
        list += (i == 0 ? "" : ", ") + shortened(shown(words[i]), 40);
    }
    return words.size() > most ? list + format(" and %zu more", words.size() - most) : list;
}

}  // namespace

void refuse(const Source& source, const Node& node, const std::string& wrong,
            const std::string& remedy) {
    refuseLine(inputName(source.path), node.line, wrong, remedy);
}

void refuseChoice(const Source& source) {
    if (!source.camera.empty()) {
        throw Failure(inputName(source.path),
                      "holds one camera, and none called " + quoted(source.camera),
                      "leave out #" + shortened(shown(source.camera), 40));
    }
}

const Node* find(const Source& source, const Node& map, const std::vector<std::string>& keys) {
    const Node* found = nullptr;
    for (const std::string& key : keys) {
        if (const Node* const value = map.at(key)) {
            if (found != nullptr) {
                refuse(source, *value, "'" + key + "' says again what is there already");
            }
            found = value;
        }
    }
    return found;
}

const Node& require(const Source& source, const Node& map, const std::vector<std::string>& keys) {
    const Node* const value = find(source, map, keys);
    if (value != nullptr) {
        return *value;
    }
    const std::vector<std::string> others(keys.begin() + 1, keys.end());
    std::vector<std::string> found;
    for (const Node& key : map.keys) {
        found.push_back(key.text);
    }
    refuse(source, map,
           "'" + keys.front() + "' is missing" +
               (others.empty() ? "" : ", also known as " + listOf(others)) +
               (found.empty() ? "" : "; there are " + listOf(found)));
}

double numberOf(const Source& source, const Node& node, const std::string& what) {
    const std::optional<double> value = node.isScalar() ? numberFrom(node.text) : std::nullopt;
    if (!value || !std::isfinite(*value)) {
        refuse(source, node,
               what + (node.isScalar() ? " is " + quoted(node.text) + ", no finite number"
                                       : " is no number"));
    }
    return *value;
}

Numbers numbersOf(const Source& source, const Node& node, const std::string& what) {
    const Node& data = node.isMap() ? require(source, node, {"data"}) : node;
    if (!data.isSequence()) {
        refuse(source, data, what + " is no list of numbers");
    }
    Numbers numbers;
    for (const Node& item : data.items) {
        // A matrix may be written row by row.
        if (item.isSequence()) {
            const Numbers row = numbersOf(source, item, what);
            numbers.values.insert(numbers.values.end(), row.values.begin(), row.values.end());
            numbers.places.insert(numbers.places.end(), row.places.begin(), row.places.end());
        } else {
            numbers.values.push_back(numberOf(source, item, what));
            numbers.places.push_back(&item);
        }
    }
    const Node* const rows = node.at("rows");
    const Node* const columns = node.at("cols");
    if (rows != nullptr && columns != nullptr) {
        const double size = numberOf(source, *rows, "the number of rows") *
                            numberOf(source, *columns, "the number of columns");
        if (size != static_cast<double>(numbers.values.size())) {
            refuse(source, data,
                   format("%s holds %zu numbers, but its rows and columns say %g", what.c_str(),
                          numbers.values.size(), size));
        }
    }
    return numbers;
}

int32_t pixelsOf(const Source& source, const Node& node, const std::string& what) {
    const double value = numberOf(source, node, what);
    if (value < 1 || value > largestSide || value != std::floor(value)) {
        refuse(source, node,
               format("%s is %g, not a number of pixels from 1 to %d", what.c_str(), value,
                      largestSide));
    }
    return static_cast<int32_t>(value);
}

void readPair(const Source& source, const Node& node, const std::string& what,
              CameraDescription& camera) {
    if (!node.isSequence() || node.items.size() != 2) {
        refuse(source, node, what + " is not a width and a height");
    }
    camera.width = pixelsOf(source, node.items[0], "the image width");
    camera.height = pixelsOf(source, node.items[1], "the image height");
}

void takePinhole(const Source& source, const Numbers& numbers, std::array<std::size_t, 4> places,
                 CameraDescription& camera) {
    const auto taken = [&](std::size_t place, const char* name, double low, double high,
                           const char* kind) {
        const double value = numbers.values[place];
        if (value < low || value > high) {
            refuse(
                source, *numbers.places[place],
                format("%s is %g, not %s from %.0f to %.0f pixels", name, value, kind, low, high));
        }
        return value;
    };
    const auto focal = [&](std::size_t place, const char* name) {
        return taken(place, name, smallestFocalLength, largestFocalLength, "a focal length");
    };
    const auto principal = [&](std::size_t place, const char* name) {
        return taken(place, name, -farthestPrincipalPoint, farthestPrincipalPoint,
                     "a principal point");
    };
    camera.fx = focal(places[0], "fx");
    camera.fy = focal(places[1], "fy");
    camera.cx = principal(places[2], "cx");
    camera.cy = principal(places[3], "cy");
}

void readMatrix(const Source& source, const Node& node, CameraDescription& camera) {
    const Numbers numbers = numbersOf(source, node, "the camera matrix");
    const std::vector<double>& k = numbers.values;
    if (k.size() != 9) {
        refuse(source, node, format("the camera matrix has %zu numbers, not 9", k.size()));
    }
    if (k[1] != 0 || k[3] != 0 || k[6] != 0 || k[7] != 0 || k[8] != 1) {
        refuse(source, node,
               "the camera matrix is not [fx 0 cx; 0 fy cy; 0 0 1], which is all that a device's "
               "file can hold");
    }
    takePinhole(source, numbers, {0, 4, 2, 5}, camera);
}

void readLens(const Source& source, const Node& node, LensKind kind,
              const std::vector<std::size_t>& lengths, CameraDescription& camera) {
    const std::vector<double> terms = numbersOf(source, node, "the distortion").values;
    if (std::find(lengths.begin(), lengths.end(), terms.size()) == lengths.end()) {
        std::string allowed;
        for (const std::size_t length : lengths) {
            allowed += (allowed.empty()            ? ""
                        : length == lengths.back() ? " or "
                                                   : ", ") +
                       std::to_string(length);
        }
        refuse(
            source, node,
            format("the distortion has %zu coefficients, not %s", terms.size(), allowed.c_str()));
    }
    camera.lens.kind = kind;
    std::copy(terms.begin(), terms.end(), camera.lens.terms.begin());
    camera.termCount = terms.size();
}

void readNamedLens(const Source& source, const Node& model, const Node& terms,
                   CameraDescription& camera) {
    struct Known {
        const char* name;
        LensKind kind;
        std::vector<std::size_t> lengths;
    };
    static const std::vector<Known> known = {
        {"plumb_bob", LensKind::radialTangential, {4, 5}},
        {"rational_polynomial", LensKind::radialTangential, {8, 12, 14}},
        {"radtan", LensKind::radialTangential, {4}},
        {"equidistant", LensKind::equidistant, {4}},
    };
    const auto found = std::find_if(known.begin(), known.end(),
                                    [&](const Known& entry) { return entry.name == model.text; });
    if (found == known.end()) {
        refuse(source, model,
               "the distortion model " + quoted(model.text) +
                   " is none of plumb_bob, rational_polynomial, radtan and equidistant");
    }
    readLens(source, terms, found->kind, found->lengths, camera);
    camera.lensModel = found->name;
}

void readQuality(const Source& source, const Node& map, CameraDescription& camera) {
    const Node* const error = find(
        source, map, {"avg_reprojection_error", "Avg_Reprojection_Error", "reprojection_error"});
    if (error != nullptr) {
        camera.reprojectionError = numberOf(source, *error, "the reprojection error");
    }
}
