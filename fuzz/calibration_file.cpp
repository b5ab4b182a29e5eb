// A hostile calibration file, through every request and the query. An input is the file itself,
// whole or not; header bytes that the library does not interpret say how it is used.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <numeric>
#include <span>

#include "fuzz/file_input.h"
#include "fuzz/harness.h"
#include "tests/calibration_image.h"
#include "tests/golden_reference.h"

namespace {

constexpr int64_t largestMap = 1 << 14;
constexpr size_t largestComparedMap = 1 << 11;

using Bytes = std::span<const uint8_t>;

bool sameBytes(const void* a, const void* b, size_t size) {
    return std::memcmp(a, b, size) == 0;
}

/** What the driver has to say about the file alone. */
int32_t verdictOn(Bytes file) {
    const auto holds = [&](size_t first, size_t size) {
        const Bytes range = file.subspan(first, size + 1);
        return std::accumulate(range.begin(), range.end(), 0) % 256 == 255;
    };
    if (file.size() < CALIBMAP_FILE_SIZE) {
        return CALIBMAP_FILE_UNREADABLE;
    }
    if (!holds(CALIBMAP_MAIN_BLOCK, CALIBMAP_MAIN_BLOCK_SIZE) ||
        !holds(CALIBMAP_SUB_BLOCK, CALIBMAP_SUB_BLOCK_SIZE) ||
        !holds(CALIBMAP_EXTRINSIC_BLOCK, CALIBMAP_EXTRINSIC_BLOCK_SIZE) ||
        !holds(0, CALIBMAP_CHECKED_SIZE)) {
        return CALIBMAP_CHECKSUM_WRONG;
    }
    return file[CALIBMAP_PASS_FLAG] == 1 ? CALIBMAP_SUCCESS : CALIBMAP_NOT_PASSED;
}

/** The maps that a file describes for one flag and ratio. */
struct Maps {
    int32_t flag;
    int32_t ratio;
    int32_t rows = 0;
    int32_t cols = 0;
    bool possible = false;
    bool ordinary = true; /**< finite break points, which the plain evaluation can take */

    Maps(Bytes file, int32_t mapFlag, int32_t mapRatio) : flag(mapFlag), ratio(mapRatio) {
        if (file.size() < CALIBMAP_FILE_SIZE || ratio < 1) {
            return;
        }
        const auto number = [&](const char* name) { return get<float>(file.data(), name); };
        const auto byte = [&](const char* name) { return get<uint8_t>(file.data(), name); };
        rows = get<int32_t>(file.data(), "height") / ratio;
        cols = get<int32_t>(file.data(), "width") / ratio;
        possible = rows > 0 && cols > 0 && number("fx") != 0 && number("fy") != 0 &&
                   byte("kx") == 7 && byte("ky") == 7 && byte("xpieces") != 0 &&
                   byte("ypieces") != 0;
        const std::string model = flag == CALIBMAP_DISTORTION ? "distortion" : "undistortion";
        look(file, model + ".xbreaks");
        look(file, model + ".ybreaks");
    }

    /** Splines exist over break points where no step goes down and one is not zero. */
    void look(Bytes file, const std::string& breaks) {
        bool rises = false;
        for (size_t i = 0; i < field(breaks).count; ++i) {
            const double value = get<float>(file.data(), breaks, i);
            const double step = value - get<float>(file.data(), breaks, i == 0 ? 0 : i - 1);
            rises = rises || step != 0;
            possible = possible && !(step < 0);
            ordinary = ordinary && std::isfinite(value);
        }
        possible = possible && rises;
    }
};

/** The delivered floats against those of the plain evaluation, which come after its doubles. */
void compare(Bytes file, const Maps& maps, const CallerMap& map) {
    static const golden::Implementation plain = golden::reference();
    Image image;
    std::copy_n(file.begin(), image.size(), image.begin());
    const auto expected = plain.maps(image, maps.flag == CALIBMAP_UNDISTORTION, maps.ratio);
    const auto delivered = map.written();
    require(same(delivered, expected.data() + expected.size() / 2), "the plain evaluation's map");
}

/**
 * Requests a map of the driver and of the entry point, with heaps and arrays of other contents and
 * vectors of other widths.
 */
void request(Bytes file, int32_t verdict, const Maps& maps, int32_t rows, int32_t cols,
             bool withPoints) {
    const bool builds = maps.flag == CALIBMAP_DISTORTION || maps.flag == CALIBMAP_UNDISTORTION;
    const bool delivers = verdict == 0 && builds && maps.possible && rows == maps.rows &&
                          cols == maps.cols && !withPoints;
    const bool refused = builds ? !delivers : maps.flag == CALIBMAP_RGB_DISTORTION;
    const int32_t driven = verdict != 0 ? verdict : refused ? CALIBMAP_STEP_FAILED : 0;
    const bool supported = maps.flag >= 0 && maps.flag <= 3 && maps.ratio >= 0;
    const bool odd = maps.ratio != 1 && maps.ratio % 2 != 0;
    const int32_t entered = !supported ? CALIBMAP_UNSUPPORTED
                            : odd      ? CALIBMAP_BAD_ARGUMENT
                                       : driven;

    const auto before = liveObjects();
    const CamDistortionLUT points = {nullptr, nullptr, 1, 1};
    const CamDistortionLUT* input = withPoints ? &points : nullptr;
    const CallerMap one(rows, cols, -1.5F);
    const CallerMap other(rows, cols, 2e30F);
    runWith(0x00, 8);
    require(doDistortionProcess(calibin, maps.flag, maps.ratio, input, &one.lut) == driven,
            "status");
    runWith(0xFF, 2U << file.size() % 2);
    require(DistortionProcess(maps.flag, maps.ratio, input, &other.lut) == entered,
            "entry's status");
    require(liveObjects() == before, "live counts");
    require(delivers || one.written().empty(), "arrays untouched");
    require((delivers && entered == 0) || other.written().empty(), "entry's arrays untouched");
    if (delivers && entered == 0) {
        require(same(one.written(), other.written().data()),
                "the same map twice, every element written");
    }
    if (delivers && maps.ordinary && one.x.size() <= largestComparedMap) {
        compare(file, maps, one);
    }
}

void query(Bytes file, int32_t verdict) {
    struct Answer {
        CameraIntrinsics cameras[2];
        CameraExtrinsics extrinsics;
    };
    const Answer mark = {{{-1, -1, -1, -1, -1, -1, {}}, {}}, {{1}, 2, 3}};
    Answer got = mark;
    const bool good = verdict == 0;
    require(GetCameraIntrinsicAndExtrinsic(&got.cameras[0], &got.cameras[1], &got.extrinsics) ==
                (good ? 0 : -1),
            "query's status");
    require(good || sameBytes(&got, &mark, sizeof got), "outputs untouched");
    require(
        !good || (sameBytes(&got.extrinsics, &file[CALIBMAP_EXTRINSIC_BLOCK], 24) &&
                  sameBytes(&got.cameras[0].fx, &file[field("fx").offset], 8) &&
                  sameBytes(got.cameras[1].coeff, &file[CALIBMAP_SUB_BLOCK + CALIBMAP_COEFF], 24)),
        "the file's values");
}

/** Makes the bytes the content of the file that `calibin` names; it lives in memory. */
void store(Bytes file) {
    static const int descriptor = memfd_create("calibration", 0);
    std::snprintf(calibin, sizeof calibin, "/proc/self/fd/%d", descriptor);
    const bool stored =
        ftruncate(descriptor, 0) == 0 &&
        pwrite(descriptor, file.data(), file.size(), 0) == static_cast<ssize_t>(file.size());
    require(stored, "the file is stored");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<uint8_t> file(data, data + size);
    int32_t ratio = 1;
    if (size >= CALIBMAP_FILE_SIZE) {
        std::memcpy(&ratio, &file[ratioControl], sizeof ratio);
        ratio = static_cast<int32_t>(1U + static_cast<uint32_t>(ratio));
        if (file[sealControl] % 2 == 0) {
            seal(file.data());
        }
    }
    store(file);
    const int32_t verdict = verdictOn(file);
    query(file, verdict);
    const bool whole = size >= CALIBMAP_FILE_SIZE;
    const Maps maps(file, whole ? (file[flagControl] + 1) % 5 : 1, ratio);
    const int shape = whole ? file[shapeControl] % 4 : 3;
    const bool fits =
        maps.rows > 0 && maps.cols > 0 && int64_t{maps.rows} * maps.cols <= largestMap;
    if (!fits || shape == 3) {
        request(file, verdict, maps, 1, 2, false);
    } else if (shape == 2) {
        request(file, verdict, maps, maps.cols, maps.rows, false);
    } else {
        request(file, verdict, maps, maps.rows, maps.cols, shape == 1);
    }
    return 0;
}
