#!/usr/bin/env bash
# opencv.sh: makes files from published calibrations and compares their maps with OpenCV's.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

need "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" "${TOOL_PACKAGES[@]}" libopencv-calib3d-dev
cmake --preset release >/dev/null
cmake --build --preset release --target calibmap-tool opencv_maps -- --quiet
ctest --preset release --no-tests=error -R '^opencv$' --verbose | grep -E 'spline from lens|Passed|Failed'
