#include "inspection/remap.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <future>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "calibration_file.h"
#include "commands/commands.h"
#include "drawing/picture.h"
#include "failure.h"
#include "inspection/soundness.h"
#include "maps.h"
#include "output.h"
#include "progress.h"

namespace {

struct RemapOptions {
    std::string file;
    std::string input;
    std::string output;
    Direction direction = Direction::undistort;
    Border border = Border::black;
};

template <class Sample>
Picture applied(const CoordinateMap& map, const Picture& source, Border border) {
    Picture result = makePicture(source.width, source.height, source.channels, source.bits);
    result.origin = source.origin;
    const RemapJob<Sample> job = {&map,
                                  reinterpret_cast<const Sample*>(source.bytes.data()),
                                  reinterpret_cast<Sample*>(result.bytes.data()),
                                  source.channels,
                                  source.bits,
                                  border};
    const Progress progress("applying the map");
    constexpr int32_t rowsAtOnce = 16;
    std::atomic<int32_t> next = 0;
    const auto work = [&](bool tells) {
        for (int32_t row = 0; (row = next.fetch_add(rowsAtOnce)) < map.rows;) {
            remapRows(job, row, std::min(row + rowsAtOnce, map.rows));
            if (tells) {
                progress.reached(static_cast<double>(row) / map.rows);
            }
        }
    };
    std::vector<std::jthread> others;
    try {
        for (unsigned i = 1; i < std::thread::hardware_concurrency(); ++i) {
            others.emplace_back(work, false);
        }
    } catch (const std::system_error&) {
        // Where no more threads may run, those that do share the work.
    }
    work(true);
    others.clear();
    return result;
}

int run(const RemapOptions& options) {
    const Image image = loadCalibration(options.file);
    const Camera camera = mainCameraOf(image);
    refuseImpossibleMap(options.file, image, options.direction, 1);
    if (!sizeFault(camera, 1).empty()) {
        refuseMap(options.file, image, options.direction, 1, CALIBMAP_STEP_FAILED);
    }
    // Read by another thread, if there may be one, while this one computes.
    std::future<Picture> reading =
        std::async(readPicture, options.input, camera.width, camera.height);
    const CoordinateMap map = computeMap(options.file, image, options.direction, 1);
    const Picture source = reading.get();
    writePicture(options.output, source.bits == 8 ? applied<uint8_t>(map, source, options.border)
                                                  : applied<uint16_t>(map, source, options.border));
    return exitGood;
}

}  // namespace

void addRemap(Program& program) {
    auto [command, options] =
        program.add("remap", run, "Straighten a picture, or distort one as the lens does");
    command.file("FILE", options->file, "The calibration file, - for standard input");
    command.file("PICTURE", options->input,
                 "The PNG or JPEG picture to apply the map to, - for standard input");
    command.output(options->output,
                   "The PNG or JPEG picture to write, or - for a PNG on standard output",
                   misfitOfPhotoName);
    command.direction(options->direction);
    command.choice<Border>("--border", options->border,
                           {{"black", Border::black},
                            {"white", Border::white},
                            {"grey", Border::grey},
                            {"edge", Border::edge}},
                           "What places outside the picture show");
    command.explain(
        "Reads and writes 8- or 16-bit grey or RGB PNG pictures of the camera's size, with or\n"
        "without opacity, and interpolates bilinearly. Resolution, colour profile and texts "
        "stay.\n"
        "Of a JPEG picture, read or written where the name ends in .jpg, the pixels stay as the\n"
        "sensor wrote them, whatever it says of how to turn them.\n\n"
        "Example:\n  calibmap remap stereoParams.bin recorded.png -o straight.png");
}
