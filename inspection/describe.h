#pragma once

#include <calibmap.h>

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

#include "inspection/bend.h"
#include "inspection/check.h"
#include "inspection/difference.h"
#include "inspection/drawing.h"
#include "inspection/info.h"
#include "inspection/look_up.h"
#include "inspection/map.h"
#include "inspection/point.h"
#include "inspection/soundness.h"
#include "inspection/statistics.h"
#include "inspection/verdict.h"

// The names of what records hold, written once: `describe(out, record)` calls `out(name, value)`
// for each, in order. The program's JSON and the page's objects are made by two such `out`s, so
// that both have the same names and numbers. A value is a bool, a number, a text, a record that can
// be described, a vector of values, or an optional one that is left out when there is none.

template <class Out>
void describe(Out& out, const Point& point) {
    out("x", point.x);
    out("y", point.y);
}

/** A place as programs read it: [x, y]. */
inline std::vector<double> pairOf(Point point) {
    return {point.x, point.y};
}

// What `check`, `info` and `diff` print for programs; these names are promised.

template <class Out>
void describe(Out& out, const Verdict& verdict) {
    out("status", verdict.status);
    out("accepted", verdict.status == CALIBMAP_SUCCESS);
    out("reason", verdict.reason);
}

template <class Out>
void describe(Out& out, const CheckedRange& range) {
    out("range", range.name);
    out("stored", range.stored);
    out("computed", range.computed);
}

template <class Out>
void describe(Out& out, const RoundTrip& trip) {
    out("largest", trip.largest);
    out("at", pairOf(trip.place));
    out("first", nameOf(trip.first));
}

template <class Out>
void describe(Out& out, const Bend& bend) {
    out("outwards", bend.outwards);
    out("at", pairOf(bend.place));
}

template <class Out>
void describe(Out& out, const Check& check) {
    out("file", check.name);
    out("status", check.verdict.status);
    out("accepted", check.verdict.status == CALIBMAP_SUCCESS);
    out("usable", check.isUsable);
    out("reason", check.verdict.reason);
    out("faults", check.usability.faults);
    if (check.usability.roundTrip && check.usability.roundTrip->compared > 0) {
        out("roundTrip", *check.usability.roundTrip);
    }
    if (check.isUsable) {
        out("bend", *check.usability.bend);
    }
    if (!check.ranges.empty()) {
        out("checksums", check.ranges);
    }
}

template <class Out>
void describe(Out& out, const FieldOfView& view) {
    out("horizontal", view.horizontal);
    out("vertical", view.vertical);
    out("diagonal", view.diagonal);
}

template <class Out>
void describe(Out& out, const CameraIntrinsics& camera) {
    out("imageWidth", camera.imageWidth);
    out("imageHeight", camera.imageHeight);
    out("cx", camera.cx);
    out("cy", camera.cy);
    out("fx", camera.fx);
    out("fy", camera.fy);
    out("coeff", hexTexts(coefficientsOf(camera)));
    out("coeffAsFloats", asFloats(coefficientsOf(camera)));
    out("fieldOfViewDegrees", fieldOfView(camera));
}

/** The models of a file, one of them, and whether its coefficients are told. */
struct ModelsInfo {
    const Info* info;
};
struct ModelInfo {
    CorrectionModel model;
    bool withCoefficients;
};

template <class Out>
void describe(Out& out, const ModelInfo& info) {
    const auto list = [](const auto& values) {
        return std::vector<float>(values.begin(), values.end());
    };
    out("xbreaks", list(info.model.xBreaks));
    out("ybreaks", list(info.model.yBreaks));
    if (info.withCoefficients) {
        out("xcorrect", list(info.model.xCorrection));
        out("ycorrect", list(info.model.yCorrection));
    }
}

template <class Out>
void describe(Out& out, const ModelsInfo& models) {
    const Info& info = *models.info;
    const ModelShape shape = modelShapeOf(*info.image);
    out("kx", shape.xOrder);
    out("ky", shape.yOrder);
    out("xpieces", shape.xPieces);
    out("ypieces", shape.yPieces);
    for (const Direction direction : {Direction::distort, Direction::undistort}) {
        out(nameOf(direction), ModelInfo{modelOf(*info.image, direction), info.withCoefficients});
    }
}

template <class Out>
void describe(Out& out, const Info& info) {
    out("file", info.name);
    describe(out, info.verdict);
    out("faults", faultsOf(*info.image));
    out("mainCamera", extractMainCameraIntrn(info.image->data()));
    out("subCamera", extractSubCameraIntrn(info.image->data()));
    out("extrinsics", extrinsicBytes(*info.image));
    out("extrinsicsAsFloats", asFloats(extrinsicsOf(*info.image)));
    out("models", ModelsInfo{&info});
}

template <class Out>
void describe(Out& out, const Statistics& statistics) {
    out("largest", statistics.largest);
    out("at", pairOf(statistics.place));
    out("mean", statistics.mean);
    out("rootMeanSquare", statistics.rootMeanSquare);
    out("median", statistics.median);
    out("percentile95", statistics.percentile95);
    out("percentile99", statistics.percentile99);
    out("count", statistics.count);
    out("lost", statistics.lost);
}

template <class Out>
void describe(Out& out, const FieldDifference& difference) {
    out("field", difference.name);
    out("text", difference.text);
    out("isParameter", difference.isParameter);
}

template <class Out>
void describe(Out& out, const DirectionDifference& difference) {
    out("direction", nameOf(difference.direction));
    out("agree", difference.agree);
    out("sentence", difference.sentence);
    out("apart", difference.apart);
}

template <class Out>
void describe(Out& out, const Difference& difference) {
    out("files", std::vector(difference.names.begin(), difference.names.end()));
    out("verdicts", std::vector(difference.verdicts.begin(), difference.verdicts.end()));
    out("agree", mapsAgree(difference));
    out("parametersAgree", parametersAgree(difference));
    out("maps", difference.maps);
    out("fields", difference.fields);
}

// What only the page reads.

template <class Out>
void describe(Out& out, const RangeInWords& range) {
    out("name", range.name);
    out("bytes", range.bytes);
    out("stored", range.stored);
    out("computed", range.computed);
    out("size", range.size);
    out("isWrong", range.isWrong);
}

template <class Out>
void describe(Out& out, const CheckInWords& check) {
    out("isUsable", check.isUsable);
    out("status", check.status);
    out("headline", check.headline);
    out("agreement", check.agreement);
    out("reasons", check.reasons);
    out("remedy", check.remedy);
    out("ranges", check.ranges);
}

template <class Out>
void describe(Out& out, const ParameterRow& row) {
    out("name", row.name);
    out("text", row.text);
    out("differs", row.differs);
}

template <class Out>
void describe(Out& out, const ParameterSection& section) {
    out("name", section.name);
    out("rows", section.rows);
}

template <class Out>
void describe(Out& out, const Refusal& refusal) {
    out("reason", refusal.reason);
    out("remedy", refusal.remedy);
}

template <class Out>
void describe(Out& out, const CoordinateMap& map) {
    out("rows", map.rows);
    out("cols", map.cols);
    out("ratio", map.ratio);
}

template <class Out>
void describe(Out& out, const Displacement& displacement) {
    out("moved", displacement.moved);
    out("outside", displacement.outside);
}

template <class Out>
void describe(Out& out, const LookUp& found) {
    out("from", found.from);
    out("to", found.to);
    out("distance", found.distance);
    out("sentence", found.sentence);
}

template <class Out>
void describe(Out& out, const Rectangle& area) {
    out("left", area.left);
    out("top", area.top);
    out("width", area.width);
    out("height", area.height);
}

template <class Out>
void describe(Out& out, const Layout& layout) {
    out("imageWidth", layout.imageWidth);
    out("imageHeight", layout.imageHeight);
    out("width", layout.width);
    out("height", layout.height);
    out("scale", layout.scale);
    out("stretch", layout.stretch);
    out("isCompact", layout.isCompact);
    out("plot", layout.plot);
    out("bar", layout.bar);
}

inline std::string nameOf(Ink kind) {
    const char* const names[] = {"text",        "faintText",  "dark",  "light",
                                 "regularLine", "mappedLine", "sample"};
    return names[static_cast<std::size_t>(kind)];
}

template <class Out>
void describe(Out& out, const ImageMark& mark) {
    out("kind", std::string("image"));
    out("left", mark.left);
    out("top", mark.top);
    out("width", mark.width);
    out("height", mark.height);
    out("dots", mark.dots);
}

template <class Out>
void describe(Out& out, const AreaMark& mark) {
    out("kind", std::string("area"));
    out("area", mark.area);
    out("ink", nameOf(mark.ink));
}

template <class Out>
void describe(Out& out, const LineMark& mark) {
    out("kind", std::string("line"));
    out("lines", mark.lines);
    out("width", mark.width);
    out("dashes", mark.dashes);
    out("ink", nameOf(mark.ink));
    out("isClipped", mark.isClipped);
}

template <class Out>
void describe(Out& out, const TextMark& mark) {
    out("kind", std::string("text"));
    out("text", mark.text);
    out("place", mark.place);
    out("anchor", mark.anchor);
    out("angle", mark.angle);
    out("size", mark.size);
    out("isBold", mark.isBold);
    out("ink", nameOf(mark.ink));
    out("room", mark.room);
}

template <class Out>
void describe(Out& out, const Mark& mark) {
    std::visit([&out](const auto& kind) { describe(out, kind); }, mark);
}

template <class Out>
void describe(Out& out, const Drawing& drawing) {
    out("width", drawing.width);
    out("height", drawing.height);
    out("plot", drawing.plot);
    out("marks", drawing.marks);
}
