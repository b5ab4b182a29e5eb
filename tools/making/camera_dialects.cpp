#include "making/camera_dialects.h"

#include <algorithm>

#include "failure.h"
#include "input.h"
#include "inspection/text.h"

namespace {

using Keys = std::vector<std::string>;

void readSize(const Source& source, const Node& map, CameraDescription& camera) {
    if (const Node* const width = find(source, map, {"image_width", "image_Width", "width"})) {
        camera.width = pixelsOf(source, *width, "the image width");
    }
    if (const Node* const height = find(source, map, {"image_height", "image_Height", "height"})) {
        camera.height = pixelsOf(source, *height, "the image height");
    }
    const Node* const size = find(source, map, {"image_size", "imageSize"});
    if (size != nullptr && !camera.width && !camera.height) {
        readPair(source, *size, "the image size", camera);
    }
}

CameraDescription readRos(const Source& source) {
    CameraDescription camera{};
    const Node& root = source.root;
    refuseChoice(source);
    readSize(source, root, camera);
    readMatrix(source, require(source, root, {"camera_matrix", "K", "k"}), camera);
    readNamedLens(source, require(source, root, {"distortion_model"}),
                  require(source, root, {"distortion_coefficients", "D", "d"}), camera);
    return camera;
}

/** The cameras of a Kalibr chain; none when the file is of another kind. */
Keys camerasOf(const Node& root) {
    Keys cameras;
    for (std::size_t i = 0; i < root.keys.size(); ++i) {
        if (root.keys[i].isScalar() &&
            root.items[i].hasAny({"distortion_coeffs", "camera_model"})) {
            cameras.push_back(root.keys[i].text);
        }
    }
    return cameras;
}

CameraDescription readKalibr(const Source& source) {
    const Keys cameras = camerasOf(source.root);
    std::string name = source.camera;
    if (name.empty() && cameras.size() == 1) {
        name = cameras.front();
    }
    if (std::find(cameras.begin(), cameras.end(), name) == cameras.end()) {
        throw Failure(
            inputName(source.path),
            name.empty() ? format("holds %zu cameras", cameras.size())
                         : "holds no camera " + quoted(name),
            "choose one with " + source.path + "#" + shortened(shown(cameras.front()), 40));
    }
    const Node& chosen = *source.root.at(name);
    CameraDescription camera{};
    const Node& model = require(source, chosen, {"camera_model"});
    if (model.text != "pinhole") {
        refuse(source, model, "the camera model is not pinhole");
    }
    const Node& resolution = require(source, chosen, {"resolution"});
    const Node& intrinsics = require(source, chosen, {"intrinsics"});
    const Numbers numbers = numbersOf(source, intrinsics, "the intrinsics");
    if (numbers.values.size() != 4) {
        refuse(source, intrinsics,
               format("intrinsics has %zu numbers, not 4", numbers.values.size()));
    }
    readPair(source, resolution, "resolution", camera);
    takePinhole(source, numbers, {0, 1, 2, 3}, camera);
    readNamedLens(source, require(source, chosen, {"distortion_model"}),
                  require(source, chosen, {"distortion_coeffs"}), camera);
    readQuality(source, chosen, camera);
    for (const char* const key : {"T_cn_cnm1", "T_cam_imu"}) {
        if (chosen.at(key) != nullptr) {
            camera.extrinsics += (camera.extrinsics.empty() ? "" : " and ") + std::string(key);
        }
    }
    return camera;
}

const Keys matrixKeys = {"camera_matrix", "Camera_Matrix", "cameraMatrix", "K", "mtx"};
const Keys termKeys = {"distortion_coefficients",
                       "Distortion_Coefficients",
                       "distCoeffs",
                       "dist_coeffs",
                       "dist_coeff",
                       "dist",
                       "D"};
const Keys stereoMatrixKeys = {"M", "K", "cameraMatrix", "camera_matrix_", "mtx"};
const Keys stereoTermKeys = {"D", "distCoeffs", "dist_coeffs_", "dist"};

Keys withNumber(Keys keys, const std::string& number) {
    for (std::string& key : keys) {
        key += number;
    }
    return keys;
}

/** Reads a lens of which the file says at most whether it is a fisheye. */
void readUnnamedLens(const Source& source, const Node& terms, CameraDescription& camera) {
    const Node* const mark = source.root.at("fisheye_model");
    std::optional<LensChoice> lens = source.lens;
    if (mark != nullptr) {
        const bool isFisheye = numberOf(source, *mark, "fisheye_model") != 0;
        lens = isFisheye ? LensChoice::fisheye : LensChoice::plumbBob;
        if (source.lens && source.lens != lens) {
            refuse(source, *mark, "fisheye_model is " + mark->text + ", but --lens says otherwise",
                   "leave one of them out");
        }
    }
    if (lens == LensChoice::fisheye) {
        readLens(source, terms, LensKind::equidistant, {4}, camera);
        camera.lensModel = "equidistant";
    } else {
        readLens(source, terms, LensKind::radialTangential, {4, 5, 8, 12, 14}, camera);
        // Both models fit four numbers, and a wrong one is far off only where few look.
        if (!lens && camera.termCount == 4) {
            refuse(source, terms,
                   "four coefficients are a plumb_bob or a fisheye lens, and the file does not say "
                   "which",
                   "add --lens plumb_bob or --lens fisheye");
        }
        camera.lensModel = camera.termCount <= 5 ? "plumb_bob" : "rational_polynomial";
    }
    camera.isLensChosen = mark == nullptr && source.lens && camera.termCount == 4;
}

CameraDescription readFileStorage(const Source& source) {
    CameraDescription camera{};
    const Node& root = source.root;
    readSize(source, root, camera);
    Keys matrix = matrixKeys;
    Keys terms = termKeys;
    if (root.hasAny(withNumber(stereoMatrixKeys, "1")) ||
        root.hasAny(withNumber(stereoMatrixKeys, "2"))) {
        if (source.camera != "1" && source.camera != "2") {
            throw Failure(inputName(source.path), "holds two cameras",
                          "choose one with " + source.path + "#1 or #2");
        }
        matrix = withNumber(stereoMatrixKeys, source.camera);
        terms = withNumber(stereoTermKeys, source.camera);
    } else {
        refuseChoice(source);
    }
    readMatrix(source, require(source, root, matrix), camera);
    readUnnamedLens(source, require(source, root, terms), camera);
    readQuality(source, root, camera);
    if (root.at("R") != nullptr && root.at("T") != nullptr) {
        camera.extrinsics = "R and T";
    }
    return camera;
}

}  // namespace

Dialect dialectOf(const Node& root) {
    if (!camerasOf(root).empty()) {
        return Dialect::kalibr;
    }
    // By more than the model's name, so that a file which lacks it is not read as something else.
    return root.hasAny({"distortion_model", "rectification_matrix", "projection_matrix"}) ||
                   isRosMessage(root)
               ? Dialect::ros
               : Dialect::fileStorage;
}

bool isRosMessage(const Node& root) {
    // A list of nine numbers; others write this key with rows, or as a list of them.
    const Node* const matrix = root.at("K") != nullptr ? root.at("K") : root.at("k");
    return matrix != nullptr && matrix->isSequence() && !matrix->items.empty() &&
           matrix->items.front().isScalar();
}

CameraDescription readDialect(Dialect dialect, const Source& source) {
    return dialect == Dialect::kalibr ? readKalibr(source)
           : dialect == Dialect::ros  ? readRos(source)
                                      : readFileStorage(source);
}
