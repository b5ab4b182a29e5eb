// What the page asks: the library, and what is said and shown of its answers. An instance of this
// module is asked about one file, or about two to compare; whatever they do to it ends with it.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "answer.h"
#include "inspection/check.h"
#include "inspection/difference.h"
#include "inspection/drawing.h"
#include "inspection/figure.h"
#include "inspection/info.h"
#include "inspection/look_up.h"
#include "inspection/map.h"
#include "inspection/npy.h"
#include "inspection/remap.h"
#include "inspection/table.h"
#include "inspection/text.h"
#include "inspection/usability.h"

/** The page's: shows how much of the work is done, from 0 to 1. */
#ifdef __wasm__
[[clang::import_module("page"), clang::import_name("reached")]]
#endif
extern "C" void
showReached(double part);

namespace {

Image images[2];
CoordinateMap map;
Direction mapDirection;
std::vector<uint8_t> remapped;

/** The inks of drawings, and the paper, as style sheets name colours. */
struct Theme {
    bool isDark;
};

std::string styleOf(const InkColour& ink) {
    const auto share = [](double part) { return format("%.3g%%", 100 * part); };
    return "rgb(" + share(ink.colour.red) + " " + share(ink.colour.green) + " " +
           share(ink.colour.blue) + " / " + share(ink.opacity) + ")";
}

void describe(Answer& out, const Theme& theme) {
    constexpr Colour darkPaper = {0.09, 0.094, 0.11};
    out("paper", styleOf({theme.isDark ? darkPaper : Colour{1, 1, 1}, 1}));
    for (const Ink ink : {Ink::text, Ink::faintText, Ink::dark, Ink::light, Ink::regularLine,
                          Ink::mappedLine, Ink::sample}) {
        out(nameOf(ink), styleOf(colourOf(ink, theme.isDark)));
    }
}

/** What a drawing is stroked from. */
void putDrawing(Answer& out, const Drawing& drawing) {
    out("drawing", drawing);
    out("light", Theme{false});
    out("dark", Theme{true});
}

/** The answer is good until the next question. */
Answer answer;

/** Fills in the answer by `write(answer)`, which gives its names and values. */
template <class Write>
const char* answered(const Write& write) {
    answer.bytes = "o";
    write(answer);
    answer.bytes += '\0';
    return answer.bytes.data();
}

Direction directionOf(int32_t undistorts) {
    return undistorts != 0 ? Direction::undistort : Direction::distort;
}

/** Why the library has answered a request for a map with this status. */
Refusal whyNoMap(Direction direction, int32_t ratio, int32_t status) {
    const std::optional<Refusal> obstacle = obstacleToMap(images[0], direction, ratio);
    return obstacle ? *obstacle : refusalOfMap(images[0], direction, ratio, status);
}

/** Where there is no memory, so that the first access ends the instance. */
float* const nowhere = reinterpret_cast<float*>(0xFFFFFFF0U);

std::vector<uint8_t> bytesOf(const std::vector<float>& values) {
    const auto* const bytes = reinterpret_cast<const uint8_t*>(values.data());
    return {bytes, bytes + values.size() * sizeof(float)};
}

}  // namespace

extern "C" {

#ifdef __wasm__
extern uint8_t __heap_base;  // NOLINT: the linker's

/** In place of the C library's: memory that an earlier user of the instance has had to ask for is
 * used again. */
void* sbrk(intptr_t more) {
    constexpr uintptr_t page = 65536;
    static uint8_t* end = &__heap_base + (page - reinterpret_cast<uintptr_t>(&__heap_base) % page);
    const uintptr_t present = __builtin_wasm_memory_size(0);
    const uintptr_t wanted =
        (reinterpret_cast<uintptr_t>(end) + static_cast<uintptr_t>(more) + page - 1) / page;
    if (more > 0 && wanted > present &&
        __builtin_wasm_memory_grow(0, wanted - present) == UINTPTR_MAX) {
        return reinterpret_cast<void*>(0xFFFFFFFFU);
    }
    uint8_t* const begin = end;
    end += more;
    return begin;
}
#endif

/** Takes the first bytes of a file in: the one that is asked about, or the one it is compared with.
 */
void takeFile(int32_t isOther, const uint8_t* bytes, uint32_t size) {
    std::copy_n(bytes, std::min<std::size_t>(size, CALIBMAP_FILE_SIZE), images[isOther].begin());
}

/** {status}: the library's answer to the file that `calibin` names. */
const char* checkAsDevice() {
    const CamDistortionLUT nothing = {nullptr, nullptr, 1, 1};
    const int32_t status = DistortionProcess(CALIBMAP_FILE_CHECK, 1, nullptr, &nothing);
    return answered([&](Answer& out) { out("status", status); });
}

/**
 * {check, words, columns, row} of a file of so many bytes, and of one that is complete
 * {info, parameters}, too.
 */
const char* inspectFile(const char* name, double size, int32_t isReadable) {
    const bool isComplete = isReadable != 0 && size >= int32_t{CALIBMAP_FILE_SIZE};
    const Check check =
        isComplete
            ? checkOf(name, images[0], usualAgreement)
            : checkOf(name, unreadable(isReadable != 0 ? sizeFaultOf(static_cast<std::size_t>(size))
                                                       : "cannot be read by the browser"));
    return answered([&](Answer& out) {
        out("check", check);
        out("words", inWords(check));
        out("columns", columnsOfChecks());
        out("row", rowOf(check));
        out("fileSize", int32_t{CALIBMAP_FILE_SIZE});
        if (isComplete) {
            const Camera camera = mainCameraOf(images[0]);
            out("width", camera.width);
            out("height", camera.height);
            out("info", Info{check.name, check.verdict, &images[0], false});
            out("parameters", parametersOf(images[0], true));
        }
    });
}

/**
 * {status}, and {refusal} of a map that the library refuses or that cannot be right: has the
 * library make the map, as on a device.
 */
const char* makeMap(int32_t undistorts, int32_t ratio) {
    const Camera camera = mainCameraOf(images[0]);
    mapDirection = directionOf(undistorts);
    const auto samples = [&](int32_t pixels) { return ratio == 0 ? pixels : pixels / ratio; };
    map = {samples(camera.height), samples(camera.width), ratio, {}, {}};
    const int64_t size = int64_t{std::max(map.rows, 0)} * std::max(map.cols, 0);
    // What is too large is put to the library all the same: its own reason to refuse comes first.
    const bool fits = size <= int64_t{1} << 28;
    if (fits) {
        map.x.resize(static_cast<std::size_t>(size));
        map.y.resize(static_cast<std::size_t>(size));
    }
    const CamDistortionLUT lut = {fits ? map.x.data() : nowhere, fits ? map.y.data() : nowhere,
                                  map.rows, map.cols};
    const int32_t status = DistortionProcess(
        mapDirection == Direction::undistort ? CALIBMAP_UNDISTORTION : CALIBMAP_DISTORTION, ratio,
        nullptr, &lut);
    return answered([&](Answer& out) {
        out("status", status);
        if (status != CALIBMAP_SUCCESS || obstacleToMap(images[0], mapDirection, ratio)) {
            out("refusal", whyNoMap(mapDirection, ratio, status));
        }
    });
}

/** {refusal} of a map for which this page's memory was too small. */
const char* explainNoMemory(int32_t undistorts, int32_t ratio) {
    return answered([&](Answer& out) {
        out("refusal", whyNoMap(directionOf(undistorts), ratio, CALIBMAP_STEP_FAILED));
    });
}

/** {title, colours, numbers, isCompact} of the map with its drawing. */
const char* drawMap(const char* name, int32_t width, double dotsPerPixel, double left, double top,
                    double size) {
    const Camera camera = mainCameraOf(images[0]);
    const Displacement displacement =
        displacementOf(map, [](double part) { showReached(part / 3); });
    const Layout layout = layOut(camera, width, dotsPerPixel, {left, top, size});
    const Wording wording = wordingOf(map, camera, mapDirection, name);
    const Figure figure =
        figureOf(layout, camera,
                 displacementsOf(map, displacement.moved, static_cast<int32_t>(width / size)),
                 mappingOf(map), wording, [](double part) { showReached((1 + 2 * part) / 3); });
    return answered([&](Answer& out) {
        out("title", wording.title + wording.name);
        out("colours", wording.colours);
        out("numbers", sentenceOf(map, displacement));
        out("isCompact", layout.isCompact);
        putDrawing(out, drawingOf(figure));
    });
}

/** {from, to, sentence} with a drawing: where the map takes a pixel, or a place on the paper. */
const char* lookUpPlace(int32_t isOnPaper, double x, double y, int32_t width, double dotsPerPixel,
                        double left, double top, double size) {
    const Layout layout = layOut(mainCameraOf(images[0]), width, dotsPerPixel, {left, top, size});
    const Point place = isOnPaper != 0 ? pixelAt(layout, {x, y}) : Point{x, y};
    const LookUp found = lookUp(map, mainCameraOf(images[0]), mapDirection, place);
    return answered([&](Answer& out) {
        describe(out, found);
        putDrawing(out, markerOf(layout, found.from, found.to));
    });
}

/** {header, x, y}: a NumPy file, in parts. */
const char* saveMap() {
    return answered([](Answer& out) {
        out("header", [] {
            const std::string header = npyHeader(map.rows, map.cols);
            return std::vector<uint8_t>(header.begin(), header.end());
        }());
        out("x", bytesOf(map.x));
        out("y", bytesOf(map.y));
    });
}

/** {address} of a photo of the camera's size, red, green, blue and opacity, as the map sees it. */
const char* remapPhoto(const uint8_t* pixels, uint32_t size) {
    remapped.resize(size);
    const RemapJob<uint8_t> job = {&map, pixels, remapped.data(), 4, 8, Border::black};
    constexpr int32_t atOnce = 64;
    for (int32_t row = 0; row < map.rows; row += atOnce) {
        remapRows(job, row, std::min(row + atOnce, map.rows));
        showReached(static_cast<double>(row) / map.rows);
    }
    return answered(
        [&](Answer& out) { out("address", reinterpret_cast<uintptr_t>(remapped.data())); });
}

/** {maps, fields, parameters}, and of a direction that can be compared {title, colours} with a
 * drawing. */
const char* compareFiles(const char* first, const char* second, int32_t undistorts, int32_t width,
                         double dotsPerPixel) {
    const Camera camera = mainCameraOf(images[0]);
    PixelValues values{};
    std::vector<DirectionDifference> differences;
    for (const Direction direction : {Direction::undistort, Direction::distort}) {
        const bool isDrawn = direction == directionOf(undistorts);
        const auto done = static_cast<double>(differences.size());
        auto difference = directionDifferenceOf(
            images[0], images[1], first, second, direction, 0, isDrawn ? &values : nullptr, width,
            [done](double part) { showReached((done + part) / 2); });
        if (!difference) {
            abort();  // no memory, as the page says of an instance that ends
        }
        differences.push_back(std::move(*difference));
    }
    return answered([&](Answer& out) {
        out("maps", differences);
        out("fields", fieldDifferencesOf(images[0], images[1]));
        out("parameters", std::vector{parametersOf(images[0], true, &images[1]),
                                      parametersOf(images[1], true, &images[0])});
        for (const DirectionDifference& difference : differences) {
            const bool isDrawn = difference.direction == directionOf(undistorts);
            if (isDrawn && difference.apart && difference.apart->count > 0) {
                const Layout layout = layOut(camera, width, dotsPerPixel);
                const Wording wording =
                    wordingOfDifference(camera, difference.direction, first, second);
                out("title", wording.title + wording.name);
                out("colours", wording.colours);
                putDrawing(out, drawingOf(figureOf(layout, camera, values, nullptr, wording)));
            }
        }
    });
}

/** {map, fields, columns, row}: one direction of two files in numbers. */
const char* differ(const char* first, const char* second, int32_t undistorts) {
    const auto difference =
        directionDifferenceOf(images[0], images[1], first, second, directionOf(undistorts), 0);
    if (!difference) {
        abort();
    }
    const Difference whole = {{first, second},
                              {judge(images[0]), judge(images[1])},
                              {*difference},
                              fieldDifferencesOf(images[0], images[1])};
    return answered([&](Answer& out) {
        out("map", *difference);
        out("fields", whole.fields);
        out("columns", columnsOfDifferences());
        out("row", rowOf(whole));
    });
}
}
