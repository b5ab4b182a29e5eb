#include "commands/camera_options.h"

void addCameraOptions(Command& command, CameraOptions& options, int32_t leastSize) {
    command.number("--width", options.width, leastSize, largestSide, "Image width in pixels");
    command.number("--height", options.height, leastSize, largestSide, "Image height in pixels");
    command.number("--fx", options.fx, smallestFocalLength, largestFocalLength,
                   "Focal length along x in pixels");
    command.number("--fy", options.fy, smallestFocalLength, largestFocalLength,
                   "Focal length along y in pixels");
    command.number("--cx", options.cx, -farthestPrincipalPoint, farthestPrincipalPoint,
                   "Principal point, x in pixels");
    command.number("--cy", options.cy, -farthestPrincipalPoint, farthestPrincipalPoint,
                   "Principal point, y in pixels");
}

Camera withGiven(const Camera& camera, const CameraOptions& options) {
    return {options.width.value_or(camera.width), options.height.value_or(camera.height),
            options.fx.value_or(camera.fx),       options.fy.value_or(camera.fy),
            options.cx.value_or(camera.cx),       options.cy.value_or(camera.cy)};
}
