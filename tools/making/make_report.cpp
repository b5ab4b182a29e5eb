#include "making/make_report.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "inspection/text.h"

namespace {

using Json = nlohmann::ordered_json;

/** Points in each patch of the recorded image, as a small table, and which patches have none. */
std::string coverageText(const PointFit& fit) {
    std::string text = "  points in each part of the recorded image:\n";
    std::size_t empty = 0;
    double top = fit.recorded.front().top;
    std::string row = "   ";
    for (const Patch& patch : fit.recorded) {
        if (patch.top != top) {
            text += row + "\n";
            row = "   ";
            top = patch.top;
        }
        row += patch.points == 0 ? "    -" : format("%5zu", patch.points);
        empty += patch.points == 0 ? 1 : 0;
    }
    text += row + "\n";
    for (const Patch& patch : fit.recorded) {
        if (patch.points == 0) {
            text += format("  no data in columns %.0f to %.0f, rows %.0f to %.0f\n",
                           std::max(0.0, std::ceil(patch.left)), std::floor(patch.right),
                           std::max(0.0, std::ceil(patch.top)), std::floor(patch.bottom));
        }
    }
    return text + (empty == 0 ? "" : "  there the maps only continue what lies around\n");
}

Json jsonOf(const Statistics& distances) {
    return {{"rootMeanSquare", distances.rootMeanSquare},
            {"percentile95", distances.percentile95},
            {"largest", distances.largest},
            {"at", {distances.place.x, distances.place.y}},
            {"compared", distances.count}};
}

Json jsonOf(const PointFit& fit) {
    Json empty = Json::array();
    for (const Patch& patch : fit.recorded) {
        if (patch.points == 0) {
            empty.push_back({{"left", patch.left},
                             {"top", patch.top},
                             {"right", patch.right},
                             {"bottom", patch.bottom}});
        }
    }
    return {{"used", fit.used.size()},
            {"leftOut", fit.leftOut},
            {"noise", fit.noise},
            {"withoutData", empty}};
}

std::string extrinsicsText(const MakeReport& report) {
    const std::string& unused = report.unusedExtrinsics;
    return shown(report.extrinsics + (unused.empty() ? "" : ", " + unused + " not used"));
}

}  // namespace

std::string textOf(const MakeReport& report) {
    std::string text =
        format("%s: %d x %d pixels, main camera from %s\n", shown(report.file).c_str(),
               report.camera.width, report.camera.height, shown(report.mainCamera).c_str());
    text += report.lens.empty() ? "" : "  lens: " + report.lens + "\n";
    if (report.reprojectionError) {
        text += format("  the calibration itself: reprojection error %g pixels\n",
                       *report.reprojectionError);
    }
    if (report.points) {
        text += format("  %zu points, %zu left out as outliers, noise %.3f pixels\n",
                       report.points->used.size() + report.points->leftOut.size(),
                       report.points->leftOut.size(), report.points->noise);
    }
    for (const MapErrors& errors : report.fits) {
        text += "  " + describe(errors, report.points ? "residuals" : "spline from lens") + "\n";
    }
    if (!report.points && report.maxAngle < 90) {
        text += format("  fitted up to %g degrees off the optical axis:", report.maxAngle);
        for (const auto& [direction, distances, residuals] : report.fits) {
            const double pixels = static_cast<double>(report.camera.width) * report.camera.height;
            text += format(
                " %.1f %% of the %s image%s", 100 * static_cast<double>(distances.count) / pixels,
                imageOf(direction).c_str(), direction == Direction::undistort ? "," : "\n");
        }
    }
    text += report.models.empty() ? "" : "  models: " + shown(report.models) + "\n";
    text += report.bend ? "  " + sentenceOf(*report.bend) + "\n" : "";
    text += report.roundTrip ? "  " + agreementOf(*report.roundTrip) + "\n" : "";
    if (report.points) {
        text += coverageText(*report.points);
    }
    text += "  sub camera: " + shown(report.subCamera) +
            "\n  extrinsics: " + extrinsicsText(report) +
            "\n  further parameters: " + report.coefficients + "\n";
    text += report.set.empty() ? "" : "  set: " + joined(report.set, ", ") + "\n";
    if (report.passFlag != 1) {
        text += format("  the pass flag is %d, so devices refuse the file\n", report.passFlag);
    }
    return text;
}

std::string jsonOf(const MakeReport& report, const std::string& reason) {
    Json json = {{"file", shown(report.file)}, {"written", reason.empty()}};
    if (!reason.empty()) {
        json["reason"] = reason;
    }
    if (report.camera.width != 0) {
        const Camera& camera = report.camera;
        json["mainCamera"] = {{"source", shown(report.mainCamera)},
                              {"imageWidth", camera.width},
                              {"imageHeight", camera.height},
                              {"fx", camera.fx},
                              {"fy", camera.fy},
                              {"cx", camera.cx},
                              {"cy", camera.cy},
                              {"coeff", report.coefficients}};
    }
    if (!report.lens.empty()) {
        json["lens"] = report.lens;
    }
    if (report.reprojectionError) {
        json["reprojectionError"] = *report.reprojectionError;
    }
    if (!report.extrinsics.empty()) {
        json["subCamera"] = shown(report.subCamera);
        json["extrinsics"] = extrinsicsText(report);
        json["passFlag"] = report.passFlag;
    }
    json["tolerance"] = report.tolerance;
    json["maxAngle"] = report.maxAngle;
    for (const MapErrors& errors : report.fits) {
        json[nameOf(errors.direction)] = jsonOf(errors.distances);
    }
    if (report.bend) {
        json["bend"] = {{"outwards", report.bend->outwards},
                        {"at", {report.bend->place.x, report.bend->place.y}}};
    }
    if (report.roundTrip) {
        const RoundTrip& trip = *report.roundTrip;
        json["roundTrip"] = {{"largest", trip.largest},
                             {"at", {trip.place.x, trip.place.y}},
                             {"first", nameOf(trip.first)}};
    }
    if (!report.set.empty()) {
        json["set"] = report.set;
    }
    if (report.points) {
        json["points"] = jsonOf(*report.points);
    }
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}
