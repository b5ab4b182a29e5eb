#include "making/camera_file.h"

#include <algorithm>
#include <filesystem>
#include <tuple>
#include <vector>

#include "failure.h"
#include "input.h"
#include "inspection/image.h"
#include "inspection/text.h"
#include "inspection/verdict.h"
#include "making/camera_dialects.h"
#include "making/document.h"

namespace {

/** Standard input can be read only once, but both cameras may be in it. */
const std::string& standardInput() {
    static const std::string text = readInput("-", longestDocument);
    return text;
}

/** What people give to the wrong option. */
void refuseDeviceFile(const std::string& text, const std::string& path) {
    Image image{};
    if (text.size() < image.size()) {
        return;
    }
    std::copy_n(text.begin(), image.size(), image.begin());
    const bool isBinary = text.size() == image.size() && text.find('\0') != std::string::npos;
    if (isBinary || judge(image).status != CALIBMAP_CHECKSUM_WRONG) {
        throw Failure(inputName(path), "is a device's file", "use --from");
    }
}

/** True when two cameras have the same size, matrix and lens. */
bool areAlike(const CameraDescription& a, const CameraDescription& b) {
    const auto numbersOfCamera = [](const CameraDescription& camera) {
        return std::tuple(camera.width, camera.height, camera.fx, camera.fy, camera.cx, camera.cy,
                          camera.lens.kind, camera.lens.terms, camera.termCount);
    };
    return numbersOfCamera(a) == numbersOfCamera(b);
}

}  // namespace

CameraDescription cameraFrom(const std::string& text, const std::string& path,
                             const std::string& camera, std::optional<LensChoice> lens) {
    const std::vector<Node> documents = documentsFrom(text, inputName(path));
    if (documents.empty() || !documents.front().isMap()) {
        throw Failure(inputName(path), "is no calibration", calibrationRemedy);
    }
    const Node& root = documents.front();
    const Dialect dialect = dialectOf(root);
    CameraDescription description = readDialect(dialect, {path, camera, root, lens});
    description.path = path;
    // Nobody could tell which of several documents counts. Only what ROS prints, a message again
    // and again, may say the same several times.
    std::for_each(documents.begin() + 1, documents.end(), [&](const Node& further) {
        const Source source = {path, camera, further, lens};
        if (dialect != Dialect::ros || !isRosMessage(root) || !isRosMessage(further)) {
            refuse(source, further, "a second document begins", "keep one of them");
        }
        if (!areAlike(description, readDialect(dialect, source))) {
            refuse(source, further, "a message begins that describes another camera",
                   "keep one of them");
        }
    });
    return description;
}

CameraDescription readCameraFile(const std::string& name, std::optional<LensChoice> lens) {
    std::string path = name;
    std::string camera;
    const std::size_t mark = name.rfind('#');
    std::error_code ignored;
    if (mark != std::string::npos && !std::filesystem::exists(name, ignored)) {
        path = name.substr(0, mark);
        camera = name.substr(mark + 1);
    }
    const std::string text = path == "-" ? standardInput() : readInput(path, longestDocument);
    refuseDeviceFile(text, path);
    return cameraFrom(text, path, camera, lens);
}

std::string lensWords(const CameraDescription& camera) {
    return camera.lensModel + format(", %zu terms", camera.termCount) +
           (camera.isLensChosen ? " (assumed: the file does not say which, --lens does)" : "");
}
