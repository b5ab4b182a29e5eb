#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "making/camera_file.h"
#include "making/document.h"

/** A calibration, which of its cameras to read, and how the two are called in messages. */
struct Source {
    std::string path;
    std::string camera; /**< empty when none was chosen */
    const Node& root;
    std::optional<LensChoice> lens;
};

[[noreturn]] void refuse(const Source& source, const Node& node, const std::string& wrong,
                         const std::string& remedy = calibrationRemedy);

/** Refuses a camera that was chosen in a file which holds one without a name. */
void refuseChoice(const Source& source);

/** The value of the only one of these keys, spellings of the same, that a map has; or null. */
const Node* find(const Source& source, const Node& map, const std::vector<std::string>& keys);

/** The same, or a refusal that says which keys are known and which there are. */
const Node& require(const Source& source, const Node& map, const std::vector<std::string>& keys);

/** A finite number; `what` begins the message if it is none. */
double numberOf(const Source& source, const Node& node, const std::string& what);

/** Numbers, and where each of them stands. */
struct Numbers {
    std::vector<double> values;
    std::vector<const Node*> places;
};

/** The numbers of a sequence, or of the `data` of a matrix with its rows and columns. */
Numbers numbersOf(const Source& source, const Node& node, const std::string& what);

/** A number of pixels that an image can have. */
int32_t pixelsOf(const Source& source, const Node& node, const std::string& what);

/** A width and a height. */
void readPair(const Source& source, const Node& node, const std::string& what,
              CameraDescription& camera);

/** Takes focal lengths and principal point from these places of a list, if a camera can have
 * them. */
void takePinhole(const Source& source, const Numbers& numbers, std::array<std::size_t, 4> places,
                 CameraDescription& camera);

/** Reads a 3 x 3 camera matrix without skew. */
void readMatrix(const Source& source, const Node& node, CameraDescription& camera);

/** Reads the terms of a lens, of which there may be so many. */
void readLens(const Source& source, const Node& node, LensKind kind,
              const std::vector<std::size_t>& lengths, CameraDescription& camera);

/** Reads a lens whose model the file names, as ROS and Kalibr do. */
void readNamedLens(const Source& source, const Node& model, const Node& terms,
                   CameraDescription& camera);

/** Reads how well the calibration met its own pictures, where the file says so. */
void readQuality(const Source& source, const Node& map, CameraDescription& camera);
