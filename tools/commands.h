#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "calibration.h"
#include "lens.h"

// The commands: what each is asked for, and the function that does it and returns an `ExitStatus`.
// "-" as an output is standard output.

struct SampleOptions {
    std::string output;
    Camera camera = {640, 480, 425, 425, 318.7, 242.3};
    Lens lens = {-0.28, 0.09, 0.0004, -0.0003, -0.012};
};
int runSample(const SampleOptions& options);

struct CheckOptions {
    std::vector<std::string> files;
};
int runCheck(const CheckOptions& options);

struct InfoOptions {
    std::string file;
    bool json = false;
};
int runInfo(const InfoOptions& options);

struct MapOptions {
    std::string file;
    std::string output;
    Direction direction = Direction::undistort;
    int32_t ratio = 1;
};
/** True when the ending of the name is that of a format. */
bool isMapName(const std::string& name);
int runMap(const MapOptions& options);

struct DrawOptions {
    std::string file;
    std::string output;
    Direction direction = Direction::undistort;
    int32_t ratio = 1;
    int32_t width = 900;
};
int runDraw(const DrawOptions& options);

/** What a picture shows where the map leads outside its source. */
enum class Border { black, white, grey, edge };

struct RemapOptions {
    std::string file;
    std::string input;
    std::string output;
    Direction direction = Direction::undistort;
    Border border = Border::black;
};
int runRemap(const RemapOptions& options);

struct PatternOptions {
    std::string output;
    int32_t width = 640;
    int32_t height = 480;
    int32_t square = 40;
};
int runPattern(const PatternOptions& options);

struct DiffOptions {
    std::string first;
    std::string second;
    double tolerance = 0;
};
int runDiff(const DiffOptions& options);
