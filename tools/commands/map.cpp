#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "calibration_file.h"
#include "commands/commands.h"
#include "failure.h"
#include "inspection/npy.h"
#include "inspection/text.h"
#include "maps.h"
#include "output.h"
#include "progress.h"

namespace {

struct MapOptions {
    std::string file;
    std::string output;
    Direction direction = Direction::undistort;
    int32_t ratio = 1;
};

/** Writes floats as little-endian bytes. */
void writeFloats(OutputFile& file, const float* values, std::size_t count) {
    std::vector<unsigned char> bytes(count * sizeof(float));
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(std::bit_cast<uint32_t>(values[i / sizeof(float)]) >>
                                              (8 * (i % sizeof(float))));
    }
    file.write(bytes.data(), bytes.size());
}

/** x, then y, without a header. */
void writeRaw(OutputFile& file, const CoordinateMap& map) {
    writeFloats(file, map.x.data(), map.x.size());
    writeFloats(file, map.y.data(), map.y.size());
}

void writeNpy(OutputFile& file, const CoordinateMap& map) {
    const std::string header = npyHeader(map.rows, map.cols);
    file.write(header.data(), header.size());
    writeRaw(file, map);
}

/** Portable float map: a text header whose -1 means little-endian, rows from the bottom up. */
void writePfm(OutputFile& file, const CoordinateMap& map, const std::vector<float>& values) {
    const std::string header = format("Pf\n%d %d\n-1.0\n", map.cols, map.rows);
    file.write(header.data(), header.size());
    for (int32_t row = map.rows; row-- > 0;) {
        writeFloats(file, values.data() + map.index(row, 0), static_cast<std::size_t>(map.cols));
    }
}

/** A matrix as OpenCV's FileStorage has it, each number as short as it comes back the same. */
void writeMatrix(OutputFile& file, const char* name, const CoordinateMap& map,
                 const std::vector<float>& values) {
    std::string text = format("%s: !!opencv-matrix\n   rows: %d\n   cols: %d\n   dt: f\n   data: [",
                              name, map.rows, map.cols);
    for (std::size_t i = 0; i < values.size(); ++i) {
        char number[32];
        const float value = values[i];
        char* const end = std::isfinite(value) ? std::to_chars(number, std::end(number), value).ptr
                                               : stpcpy(number, std::isnan(value) ? ".Nan"
                                                                : value < 0       ? "-.Inf"
                                                                                  : ".Inf");
        text += i == 0 ? " " : i % 4 == 0 ? ",\n       " : ", ";
        text.append(number, end);
        constexpr std::size_t piece = 1 << 16;
        if (text.size() > piece) {
            file.write(text.data(), text.size());
            text.clear();
        }
    }
    text += " ]\n";
    file.write(text.data(), text.size());
}

void writeFileStorage(OutputFile& file, const CoordinateMap& map) {
    const std::string header = "%YAML:1.0\n---\n";
    file.write(header.data(), header.size());
    writeMatrix(file, "map_x", map, map.x);
    writeMatrix(file, "map_y", map, map.y);
}

/** What stands before the ending, if the name has this ending. */
std::optional<std::string> stemOf(const std::string& name, const std::string& ending) {
    return name.ends_with(ending) ? std::optional(name.substr(0, name.size() - ending.size()))
                                  : std::nullopt;
}

/** Writes the map in the format that the name asks for and returns what has been written. */
std::string writeMap(const std::string& name, const CoordinateMap& map) {
    const Progress progress("writing " + shortened(name, 40));
    if (const auto stem = stemOf(name, ".pfm")) {
        const std::string xName = *stem + "-x.pfm";
        const std::string yName = *stem + "-y.pfm";
        OutputFile x(xName);
        OutputFile y(yName);
        writePfm(x, map, map.x);
        writePfm(y, map, map.y);
        x.complete();
        y.complete();
        x.commit();
        y.commit();
        return xName + " and " + yName;
    }
    OutputFile file(name);
    if (stemOf(name, ".raw")) {
        writeRaw(file, map);
    } else if (stemOf(name, ".yml")) {
        writeFileStorage(file, map);
    } else {
        writeNpy(file, map);
    }
    file.commit();
    return name;
}

/** What is wrong with the name of an output; nothing if its ending is that of a format. */
std::string misfitOf(const std::string& name) {
    const bool known = name == "-" || stemOf(name, ".npy") || stemOf(name, ".pfm") ||
                       stemOf(name, ".raw") || stemOf(name, ".yml");
    return known ? "" : "'" + name + "' ends in none of .npy, .pfm, .raw and .yml";
}

int run(const MapOptions& options) {
    const Image image = loadCalibration(options.file);
    const CoordinateMap map = computeMap(options.file, image, options.direction, options.ratio);
    const Displacement displacement = displacementOf(map);
    const std::string written = writeMap(options.output, map);
    std::fprintf(options.output == "-" ? stderr : stdout, "%s: %s\n", shown(written).c_str(),
                 sentenceOf(map, displacement).c_str());
    return exitGood;
}

}  // namespace

void addMap(Program& program) {
    auto [command, options] = program.add("map", run, "Compute a map and write its numbers");
    command.file("FILE", options->file, "The calibration file, - for standard input");
    command.direction(options->direction);
    command.ratio(options->ratio);
    command.output(options->output, "The file to write; its ending is the format", misfitOf);
    command.explain(
        "The ending of the output's name chooses the format:\n"
        "  .npy  NumPy, float32, shape (2, rows, columns): x, then y\n"
        "  .pfm  two portable float maps, NAME-x.pfm and NAME-y.pfm\n"
        "  .raw  little-endian float32 without a header: all of x, then all of y\n"
        "  .yml  OpenCV's FileStorage, matrices map_x and map_y for remap\n"
        "  -     .npy on standard output\n"
        "Values are positions in samples, (column, row), counted from 0 at the first centre.\n\n"
        "Example:\n  calibmap map stereoParams.bin --direction undistort --ratio 2 -o map.npy");
}
