#include "making/camera_file.h"

#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <set>
#include <tuple>
#include <vector>

#include "failure.h"
#include "input.h"
#include "inspection/image.h"
#include "inspection/text.h"

namespace {

constexpr const char* remedy = "correct the file or calibrate again";

/** A calibration file that has been parsed, and how it is called in messages. */
struct Source {
    std::string path;
    YAML::Node root;
    std::string camera;                   /**< which one to read; empty when none was chosen */
    std::vector<YAML::Node> further = {}; /**< documents behind the first */
};

[[noreturn]] void refuse(const Source& source, const YAML::Mark& mark, const std::string& wrong,
                         const std::string& advice = remedy) {
    const std::string line = mark.is_null() ? "" : format(", line %d", mark.line + 1);
    throw Failure(inputName(source.path) + line, wrong, advice);
}

/** Refuses keys that a mapping holds twice: which of the two counts depends on the reader. */
void refuseDoubled(const Source& source, const YAML::Node& node) {
    if (node.IsSequence()) {
        for (const YAML::Node& item : node) {
            refuseDoubled(source, item);
        }
    }
    if (!node.IsMap()) {
        return;
    }
    std::set<std::string> keys;
    for (const auto& entry : node) {
        const YAML::Node& key = entry.first;
        if (key.IsScalar() && !keys.insert(key.Scalar()).second) {
            refuse(source, key.Mark(), "'" + key.Scalar() + "' stands there a second time");
        }
        refuseDoubled(source, entry.second);
    }
}

constexpr std::size_t longestText = std::size_t{16} << 20;

/** Standard input can be read only once, but both cameras may be in it. */
const std::string& standardInput() {
    static const std::string text = readInput("-", longestText);
    return text;
}

/** The text of a file, its first line readable for a YAML parser. */
std::string textOf(const std::string& path) {
    std::string text = path == "-" ? standardInput() : readInput(path, longestText);
    if (text.starts_with("<")) {
        throw Failure(inputName(path), "is XML", "write the calibration as .yml or .yaml");
    }
    // FileStorage begins with %YAML:1.0, which is no YAML directive. A comment keeps the lines.
    if (text.starts_with("%YAML:")) {
        text.front() = '#';
    }
    return text;
}

Source openSource(const std::string& name) {
    Source source = {name, YAML::Node(), ""};
    const std::size_t mark = name.rfind('#');
    std::error_code ignored;
    if (mark != std::string::npos && !std::filesystem::exists(name, ignored)) {
        source.path = name.substr(0, mark);
        source.camera = name.substr(mark + 1);
    }
    try {
        for (const YAML::Node& document : YAML::LoadAll(textOf(source.path))) {
            // An empty one stands behind the mark that ends each message of ROS.
            if (source.root.IsNull()) {
                source.root.reset(document);
            } else if (!document.IsNull()) {
                source.further.push_back(document);
            }
        }
    } catch (const YAML::Exception& error) {
        refuse(source, error.mark, "is not YAML (" + error.msg + ")");
    }
    if (!source.root.IsMap()) {
        throw Failure(inputName(source.path), "is no calibration in YAML", remedy);
    }
    refuseDoubled(source, source.root);
    return source;
}

/** The value of the only one of these keys, spellings of the same, that a mapping has. */
YAML::Node find(const Source& source, const YAML::Node& map, const std::vector<std::string>& keys) {
    YAML::Node found(YAML::NodeType::Undefined);
    for (const std::string& key : keys) {
        if (const YAML::Node value = map[key]) {
            if (found) {
                refuse(source, value.Mark(), "'" + key + "' says again what is there already");
            }
            found.reset(value);
        }
    }
    return found;
}

YAML::Node require(const Source& source, const YAML::Node& map,
                   const std::vector<std::string>& keys) {
    const YAML::Node value = find(source, map, keys);
    if (!value) {
        refuse(source, map.Mark(), "'" + keys.front() + "' is missing");
    }
    return value;
}

double numberOf(const Source& source, const YAML::Node& node, const std::string& what) {
    double value = 0;
    if (node.IsScalar()) {
        const std::string& text = node.Scalar();
        const char* const first = text.data() + (text.starts_with("+") ? 1 : 0);
        const char* const last = text.data() + text.size();
        const auto [end, error] = std::from_chars(first, last, value);
        if (error == std::errc() && end == last && std::isfinite(value)) {
            return value;
        }
    }
    refuse(source, node.Mark(),
           what + (node.IsScalar() ? " is '" + node.Scalar() + "', no finite number"
                                   : " is no number"));
}

/** Numbers, and where each of them stands. */
struct Numbers {
    std::vector<double> values;
    std::vector<YAML::Mark> marks;
};

/** The numbers of a sequence, or of the `data` of a matrix with its rows and columns. */
Numbers numbersOf(const Source& source, const YAML::Node& node, const std::string& what) {
    const YAML::Node data = node.IsMap() ? require(source, node, {"data"}) : node;
    if (!data.IsSequence()) {
        refuse(source, data.Mark(), what + " is no list of numbers");
    }
    Numbers numbers;
    for (const YAML::Node& item : data) {
        // A matrix may be written row by row.
        if (item.IsSequence()) {
            const Numbers row = numbersOf(source, item, what);
            numbers.values.insert(numbers.values.end(), row.values.begin(), row.values.end());
            numbers.marks.insert(numbers.marks.end(), row.marks.begin(), row.marks.end());
        } else {
            numbers.values.push_back(numberOf(source, item, what));
            numbers.marks.push_back(item.Mark());
        }
    }
    if (node.IsMap() && node["rows"] && node["cols"]) {
        const double size = numberOf(source, node["rows"], "the number of rows") *
                            numberOf(source, node["cols"], "the number of columns");
        if (size != static_cast<double>(numbers.values.size())) {
            refuse(source, data.Mark(),
                   format("%s holds %zu numbers, but its rows and columns say %.0f", what.c_str(),
                          numbers.values.size(), size));
        }
    }
    return numbers;
}

int32_t pixelsOf(const Source& source, const YAML::Node& node, const std::string& what) {
    const double value = numberOf(source, node, what);
    if (value < 1 || value > largestSide || value != std::floor(value)) {
        refuse(source, node.Mark(),
               format("%s is %g, not a number of pixels from 1 to %d", what.c_str(), value,
                      largestSide));
    }
    return static_cast<int32_t>(value);
}

/** Takes focal lengths and principal point from these places of a list, if a camera can have them.
 */
void takePinhole(const Source& source, const Numbers& numbers, std::array<std::size_t, 4> places,
                 CameraDescription& camera) {
    const auto taken = [&](std::size_t place, const char* name, double low, double high,
                           const char* kind) {
        const double value = numbers.values[place];
        if (value < low || value > high) {
            refuse(
                source, numbers.marks[place],
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

void readMatrix(const Source& source, const YAML::Node& node, CameraDescription& camera) {
    const Numbers numbers = numbersOf(source, node, "the camera matrix");
    const std::vector<double>& k = numbers.values;
    if (k.size() != 9) {
        refuse(source, node.Mark(), format("the camera matrix has %zu numbers, not 9", k.size()));
    }
    if (k[1] != 0 || k[3] != 0 || k[6] != 0 || k[7] != 0 || k[8] != 1) {
        refuse(source, node.Mark(),
               "the camera matrix is not [fx 0 cx; 0 fy cy; 0 0 1], which is all that a device's "
               "file can hold");
    }
    takePinhole(source, numbers, {0, 4, 2, 5}, camera);
}

void readLens(const Source& source, const YAML::Node& node, LensKind kind,
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
            source, node.Mark(),
            format("the distortion has %zu coefficients, not %s", terms.size(), allowed.c_str()));
    }
    camera.lens.kind = kind;
    std::copy(terms.begin(), terms.end(), camera.lens.terms.begin());
    camera.termCount = terms.size();
}

/** A lens whose model the file names, as ROS and Kalibr do. */
void readNamedLens(const Source& source, const YAML::Node& model, const YAML::Node& terms,
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
    const std::string name = model.IsScalar() ? model.Scalar() : "";
    const auto found = std::find_if(known.begin(), known.end(),
                                    [&](const Known& entry) { return entry.name == name; });
    if (found == known.end()) {
        refuse(source, model.Mark(),
               "the distortion model '" + name +
                   "' is none of plumb_bob, rational_polynomial, radtan and equidistant");
    }
    readLens(source, terms, found->kind, found->lengths, camera);
}

void readSize(const Source& source, const YAML::Node& map, CameraDescription& camera) {
    if (const YAML::Node width = find(source, map, {"image_width", "image_Width", "width"})) {
        camera.width = pixelsOf(source, width, "the image width");
    }
    if (const YAML::Node height = find(source, map, {"image_height", "image_Height", "height"})) {
        camera.height = pixelsOf(source, height, "the image height");
    }
}

/** Refuses a camera that was chosen in a file which holds one without a name. */
void refuseChoice(const Source& source) {
    if (!source.camera.empty()) {
        throw Failure(inputName(source.path),
                      "holds one camera, and none called '" + source.camera + "'",
                      "leave out #" + source.camera);
    }
}

CameraDescription readRos(const Source& source) {
    CameraDescription camera{};
    const YAML::Node& root = source.root;
    refuseChoice(source);
    readSize(source, root, camera);
    readMatrix(source, require(source, root, {"camera_matrix", "K", "k"}), camera);
    readNamedLens(source, require(source, root, {"distortion_model"}),
                  require(source, root, {"distortion_coefficients", "D", "d"}), camera);
    return camera;
}

bool hasAny(const YAML::Node& map, const std::vector<const char*>& keys) {
    return std::any_of(keys.begin(), keys.end(),
                       [&](const char* key) { return map[key].IsDefined(); });
}

/** The cameras of a Kalibr chain; none when the file is of another kind. */
std::vector<std::string> camerasOf(const YAML::Node& root) {
    std::vector<std::string> cameras;
    for (const auto& entry : root) {
        if (entry.first.IsScalar() && entry.second.IsMap() &&
            hasAny(entry.second, {"distortion_coeffs", "camera_model"})) {
            cameras.push_back(entry.first.Scalar());
        }
    }
    return cameras;
}

CameraDescription readKalibr(const Source& source) {
    const std::vector<std::string> cameras = camerasOf(source.root);
    std::string name = source.camera;
    if (name.empty() && cameras.size() == 1) {
        name = cameras.front();
    }
    if (std::find(cameras.begin(), cameras.end(), name) == cameras.end()) {
        throw Failure(inputName(source.path),
                      name.empty() ? format("holds %zu cameras", cameras.size())
                                   : "holds no camera '" + name + "'",
                      "choose one with " + source.path + "#" + cameras.front());
    }
    const YAML::Node chosen = source.root[name];
    CameraDescription camera{};
    const YAML::Node model = require(source, chosen, {"camera_model"});
    if (!model.IsScalar() || model.Scalar() != "pinhole") {
        refuse(source, model.Mark(), "the camera model is not pinhole");
    }
    const YAML::Node resolution = require(source, chosen, {"resolution"});
    const YAML::Node intrinsics = require(source, chosen, {"intrinsics"});
    const Numbers numbers = numbersOf(source, intrinsics, "the intrinsics");
    if (numbers.values.size() != 4) {
        refuse(source, intrinsics.Mark(),
               format("intrinsics has %zu numbers, not 4", numbers.values.size()));
    }
    if (!resolution.IsSequence() || resolution.size() != 2) {
        refuse(source, resolution.Mark(), "resolution is not a width and a height");
    }
    camera.width = pixelsOf(source, resolution[0], "the image width");
    camera.height = pixelsOf(source, resolution[1], "the image height");
    takePinhole(source, numbers, {0, 1, 2, 3}, camera);
    readNamedLens(source, require(source, chosen, {"distortion_model"}),
                  require(source, chosen, {"distortion_coeffs"}), camera);
    return camera;
}

CameraDescription readFileStorage(const Source& source, bool isFisheye) {
    CameraDescription camera{};
    const YAML::Node& root = source.root;
    readSize(source, root, camera);
    const bool isStereo = root["M1"] || root["M2"];
    std::vector<std::string> matrix = {"camera_matrix", "Camera_Matrix"};
    std::vector<std::string> terms = {"distortion_coefficients", "Distortion_Coefficients"};
    if (isStereo) {
        if (source.camera != "1" && source.camera != "2") {
            throw Failure(inputName(source.path), "holds two cameras",
                          "choose one with " + source.path + "#1 or #2");
        }
        matrix = {"M" + source.camera};
        terms = {"D" + source.camera};
    } else {
        refuseChoice(source);
    }
    if (const YAML::Node marked = root["fisheye_model"]) {
        isFisheye |= numberOf(source, marked, "fisheye_model") != 0;
    }
    readMatrix(source, require(source, root, matrix), camera);
    readLens(source, require(source, root, terms),
             isFisheye ? LensKind::equidistant : LensKind::radialTangential,
             isFisheye ? std::vector<std::size_t>{4} : std::vector<std::size_t>{4, 5, 8, 12, 14},
             camera);
    return camera;
}

/** True when two cameras have the same size, matrix and lens. */
bool areAlike(const CameraDescription& a, const CameraDescription& b) {
    const auto numbersOfCamera = [](const CameraDescription& camera) {
        return std::tuple(camera.width, camera.height, camera.fx, camera.fy, camera.cx, camera.cy,
                          camera.lens.kind, camera.lens.terms, camera.termCount);
    };
    return numbersOfCamera(a) == numbersOfCamera(b);
}

/**
 * Refuses documents behind the first one, of which nobody could tell which one counts. Only what
 * ROS prints, a message again and again, may say the same several times.
 */
void refuseFurther(const Source& source, const CameraDescription& camera) {
    for (const YAML::Node& document : source.further) {
        if (!document.IsMap() || !hasAny(source.root, {"K", "k"}) ||
            !hasAny(document, {"K", "k"})) {
            refuse(source, document.Mark(), "a second document begins", "keep one of them");
        }
        refuseDoubled(source, document);
        if (!areAlike(camera, readRos({source.path, document, source.camera}))) {
            refuse(source, document.Mark(), "a message begins that describes another camera",
                   "keep one of them");
        }
    }
}

}  // namespace

CameraDescription readCameraFile(const std::string& name, bool isFisheye) {
    const Source source = openSource(name);
    const YAML::Node& root = source.root;
    // By more than the model's name, so that a file which lacks it is not read as something else.
    const bool isRos = hasAny(root, {"distortion_model", "rectification_matrix",
                                     "projection_matrix", "K", "k", "D", "d"});
    CameraDescription camera = !camerasOf(root).empty() ? readKalibr(source)
                               : isRos                  ? readRos(source)
                                                        : readFileStorage(source, isFisheye);
    camera.source = name;
    refuseFurther(source, camera);
    return camera;
}
