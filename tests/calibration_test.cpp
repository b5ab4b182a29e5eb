// The calibration file: sums, checksums, reading, and the query of the cameras' parameters.
#include <filesystem>

#include "support.h"

namespace {

const std::string pathAtLoad = calibin;

/** The 32-bit words of a record. */
template <typename Record>
std::vector<uint32_t> wordsIn(const Record& record) {
    std::vector<uint32_t> words(sizeof record / 4);
    std::memcpy(words.data(), &record, sizeof record);
    return words;
}

/** Three outputs of the query, full of a mark. */
struct Outputs {
    CameraIntrinsics main, sub;
    CameraExtrinsics extrinsics;
    Outputs() { std::memset(static_cast<void*>(this), 0xa5, sizeof *this); }
};

TEST(Checksum, EachRangeHasItsSumAndItsWriter) {
    const std::vector<uint8_t> full(300, 255);
    EXPECT_EQ(calibrationSum(full.data(), 300), 212);
    EXPECT_EQ(calibrationChecksum(full.data(), 300), 43);
    for (const int32_t none : {0, -5, INT32_MIN}) {
        EXPECT_EQ(calibrationSum(full.data(), none), 0);
        EXPECT_EQ(calibrationChecksum(full.data(), none), 255);
    }
    // Only bytes of the range may count, so everything else holds another value.
    const auto check = [](auto sum, auto write, size_t begin, size_t end) {
        Image image;
        image.fill(0x55);
        std::fill(&image[begin], &image[end], uint8_t{3});
        Image expected = image;
        expected[end] = static_cast<uint8_t>(255 - 3 * (end - begin));
        EXPECT_EQ(sum(&image[begin]), static_cast<uint8_t>(3 * (end - begin)));
        EXPECT_EQ(write(&image[begin]), 0);
        EXPECT_EQ(image, expected);
        EXPECT_EQ(sum(nullptr), 255);
        EXPECT_EQ(write(nullptr), -1);
    };
    check(MainCameraIntervalCalibrationSum, MainCameraIntervalCalibrationChecksum, 13, 4125);
    check(SubCameraIntervalCalibrationSum, SubCameraIntervalCalibrationChecksum, 4126, 6226);
    check(CameraExtervalCalibrationSum, CameraExtervalCalibrationChecksum, 6227, 6251);
    check(TotalCalibrationSum, TotalCalibrationChecksum, 0, 6267);
}

TEST(Checksum, EveryByteOfTheImageIsGuardedByEachSumThatCoversIt) {
    Image image = calibrationImage();
    EXPECT_EQ(checksumTest(image.data()), 0);
    const auto isRefused = [&](size_t at, int change) {
        Image wrong = image;
        wrong[at] = static_cast<uint8_t>(wrong[at] + change);
        const int32_t total = checksumTest(wrong.data());
        // Now the total holds again, so that in a block its own sum is the only wrong one.
        TotalCalibrationChecksum(wrong.data());
        const bool outside = at < 13 || at >= 6252;
        return total == 9 && checksumTest(wrong.data()) == (outside ? 0 : 9);
    };
    for (size_t at = 0; at < image.size(); ++at) {
        ASSERT_TRUE(isRefused(at, 1) && isRefused(at, -1) && isRefused(at, 128)) << "byte " << at;
    }
    // All blocks hold and the total does not.
    image[6267] ^= 1;
    EXPECT_EQ(checksumTest(image.data()), 9);
    EXPECT_EQ(checksumTest(Image{}.data()), 9);
}

TEST(Layout, FieldsStandWhereDevicesHaveThem) {
    std::ostringstream table;
    for (const ImageField& each : fields) {
        table << each.name << ' ' << each.offset << ' ' << each.count << each.type << '\n';
    }
    EXPECT_EQ(table.str(),
              "pass 1 1b\nheight 17 1i\nwidth 21 1i\n"
              "fx 25 1f\nfy 29 1f\ncx 33 1f\ncy 37 1f\n"
              "kx 97 1b\nky 98 1b\nxpieces 99 1b\nypieces 100 1b\n"
              "distortion.xbreaks 117 7f\ndistortion.ybreaks 169 5f\n"
              "distortion.x 209 120f\ndistortion.y 1161 120f\n"
              "undistortion.xbreaks 2129 7f\nundistortion.ybreaks 2181 5f\n"
              "undistortion.x 2221 120f\nundistortion.y 3173 120f\n");
}

TEST(Layout, EachWordIsCopiedFromItsPlaceWhateverItsBitsAndItsAlignment) {
    // Record order: width, height, cx, cy, fx, fy, coefficients; every word looks like a NaN.
    std::vector<uint32_t> main;
    std::vector<uint32_t> sub;
    std::vector<uint32_t> extrinsics(6);
    Image image = calibrationImage();
    for (const uint32_t offset : {21U, 17U, 33U, 37U, 25U, 29U, 41U, 45U, 49U, 53U, 57U, 61U}) {
        main.push_back(0x7f812300U + offset);
        sub.push_back(0xffa45600U + offset);
        std::memcpy(&image[offset], &main.back(), 4);
        std::memcpy(&image[offset - 13 + 4126], &sub.back(), 4);
    }
    std::memcpy(extrinsics.data(), &image[6227], 24);
    seal(image.data());
    for (const size_t shift : {0U, 1U, 2U, 3U}) {
        std::vector<uint8_t> room(image.size() + shift);
        const uint8_t* at = std::copy(image.begin(), image.end(), room.data() + shift) - 6268;
        EXPECT_EQ(wordsIn(extractMainCameraIntrn(at)), main);
        EXPECT_EQ(wordsIn(extractIRCameraIntrn(at)), main);
        EXPECT_EQ(wordsIn(extractSubCameraIntrn(at)), sub);
        EXPECT_EQ(wordsIn(extractRGBCameraIntrn(at)), sub);
        EXPECT_EQ(wordsIn(extractCameraExteral(at)), extrinsics);
    }
    const CalibrationOnDisk file(image);
    Outputs out;
    EXPECT_EQ(GetCameraIntrinsicAndExtrinsic(&out.main, nullptr, &out.extrinsics), 0);
    EXPECT_EQ(wordsIn(out.main), main);
    EXPECT_EQ(wordsIn(out.extrinsics), extrinsics);
    EXPECT_EQ(wordsIn(out.sub), wordsIn(Outputs().sub));
    EXPECT_EQ(getCameraIntrinsicAndExtrinsic(calibin, nullptr, &out.sub, nullptr), 0);
    EXPECT_EQ(wordsIn(out.sub), sub);
    out = {};
    EXPECT_EQ(GetCameraIntrinsicAndExtrinsic(nullptr, nullptr, &out.extrinsics), 0);
    EXPECT_EQ(wordsIn(out.extrinsics), extrinsics);
}

TEST(Query, EveryFailureIsSilentAndLeavesTheOutputs) {
    EXPECT_EQ(pathAtLoad, "/persist/camera/stereoParams.bin");
    Outputs out;
    const auto openFiles = [] {
        const std::filesystem::directory_iterator descriptors("/proc/self/fd");
        return std::distance(begin(descriptors), end(descriptors));
    };
    const auto openBefore = openFiles();
    const auto refused = [&](size_t byte, int change, int missing) {
        Image image = calibrationImage();
        image[byte] = static_cast<uint8_t>(image[byte] + change);
        TotalCalibrationChecksum(image.data());
        const CalibrationOnDisk file(image, missing);
        return GetCameraIntrinsicAndExtrinsic(&out.main, &out.sub, &out.extrinsics) == -1;
    };
    const std::string printed = printedBy([&] {
        EXPECT_TRUE(refused(CALIBMAP_PASS_FLAG, -1, 0) && refused(CALIBMAP_PASS_FLAG, 1, 0));
        EXPECT_TRUE(refused(6251, 1, 0) && refused(0, 0, 1));
        EXPECT_EQ(GetCameraIntrinsicAndExtrinsic(&out.main, nullptr, nullptr), -1);  // no file
        const CalibrationOnDisk good(calibrationImage());
        EXPECT_EQ(getCameraIntrinsicAndExtrinsic(nullptr, &out.main, nullptr, nullptr), -1);
        EXPECT_EQ(GetCameraIntrinsicAndExtrinsic(nullptr, nullptr, nullptr), -1);
    });
    EXPECT_EQ(printed, "");
    EXPECT_EQ(openFiles(), openBefore);
    EXPECT_EQ(wordsIn(out), wordsIn(Outputs()));
}

TEST(Layout, NeitherOtherBytesNorTheChoiceBetweenEqualModelsMatter) {
    Outputs told[2];
    std::vector<Values> maps;
    for (const size_t i : {0U, 1U}) {
        const auto filler = static_cast<uint8_t>(37 + 53 * i);
        const CalibrationOnDisk file(
            calibrationImage({.distortionWarp = 0.3, .undistortionWarp = 0.3, .filler = filler}));
        GetCameraIntrinsicAndExtrinsic(&told[i].main, &told[i].sub, &told[i].extrinsics);
        for (const int32_t flag : {CALIBMAP_DISTORTION, CALIBMAP_UNDISTORTION}) {
            const CallerMap map(12, 16);
            EXPECT_EQ(DistortionProcess(flag, 2, nullptr, &map.lut), 0);
            maps.push_back(map.written());
        }
    }
    EXPECT_EQ(maps, std::vector<Values>(4, maps[0]));
    EXPECT_EQ(wordsIn(told[0]), wordsIn(told[1]));
}

}  // namespace
