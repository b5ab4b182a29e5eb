// A hostile calibration of another program: YAML, XML or JSON. The first byte says what the command
// line adds, the rest is the text. What is read has to be a camera, and a refusal one short line.
#include "making/camera_file.h"

#include <cmath>
#include <cstdint>
#include <string>

#include "fuzz/tool_harness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const char* const cameras[] = {"", "1", "2", "cam0"};
    const std::optional<LensChoice> lenses[] = {std::nullopt, LensChoice::plumbBob,
                                                LensChoice::fisheye};
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    answers([&] {
        const CameraDescription camera =
            cameraFrom(text, "input", cameras[data[0] % 4], lenses[data[0] / 4 % 3]);
        hold(camera.fx >= 1 && camera.fy >= 1 && std::isfinite(camera.cx + camera.cy),
             "a camera has focal lengths and a principal point");
        hold(camera.width.value_or(1) > 0 && camera.height.value_or(1) > 0, "an image has pixels");
        hold(camera.termCount >= 4 && camera.termCount <= camera.lens.terms.size(),
             "a lens has terms");
        hold(!camera.lensModel.empty(), "a lens has a name");
        for (const double term : camera.lens.terms) {
            hold(std::isfinite(term), "terms are finite");
        }
    });
    return 0;
}
