#include "commands/camera_options.h"

void addCameraOptions(Command& command, CameraOptions& options, int32_t leastSize) {
    command.number("--width", options.width, leastSize, 16384, "Image width in pixels");
    command.number("--height", options.height, leastSize, 16384, "Image height in pixels");
    command.number("--fx", options.fx, 1.0, 1e6, "Focal length along x in pixels");
    command.number("--fy", options.fy, 1.0, 1e6, "Focal length along y in pixels");
    command.number("--cx", options.cx, -1e5, 1e5, "Principal point, x in pixels");
    command.number("--cy", options.cy, -1e5, 1e5, "Principal point, y in pixels");
}

Camera withGiven(const Camera& camera, const CameraOptions& options) {
    return {options.width.value_or(camera.width), options.height.value_or(camera.height),
            options.fx.value_or(camera.fx),       options.fy.value_or(camera.fy),
            options.cx.value_or(camera.cx),       options.cy.value_or(camera.cy)};
}
