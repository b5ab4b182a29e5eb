#include "making/make_file.h"

#include "calibration_file.h"
#include "diagnostics.h"
#include "drawing/residuals.h"
#include "failure.h"
#include "input.h"
#include "inspection/text.h"
#include "inspection/usability.h"
#include "making/fit.h"
#include "making/producer.h"
#include "making/proof.h"
#include "making/set_fields.h"
#include "maps.h"
#include "output.h"
#include "progress.h"

namespace {

void storeModels(const Making& making, Image& image, MakeReport& report) {
    const Progress progress("fitting the models");
    ModelPair models{};
    if (!making.pairs.empty()) {
        report.points = fitPoints(report.camera, making.pairs);
        models = report.points->models;
    } else if (making.view) {
        refuseUnfittable(report.camera, *making.view);
        models = fitLens(report.camera, *making.view);
    } else {
        return;
    }
    storeModel(image, Direction::undistort, models.undistortion);
    storeModel(image, Direction::distort, models.distortion);
}

/** Compares both maps of the finished file with what they were fitted to. */
void compareMaps(const Making& making, const Image& image, MakeReport& report) {
    for (const Direction direction : {Direction::undistort, Direction::distort}) {
        const CoordinateMap map = computeMap(report.file, image, direction, 1);
        report.fits.push_back(report.points
                                  ? errorsFromPoints(map, making.pairs, report.points->used,
                                                     report.points->leftOut, direction)
                                  : errorsFromLens(map, report.camera, *making.view, direction));
        if (direction == Direction::undistort) {
            report.bend = bendOf(map, report.camera, report.points ? nullptr : &*making.view);
        }
    }
}

void drawErrors(const std::string& path, const MakeReport& report) {
    ResidualPicture picture = {
        "Residuals of " + shown(inputName(report.file)),
        format("main camera from %s \u00b7 %d \u00d7 %d pixels", shown(report.mainCamera).c_str(),
               report.camera.width, report.camera.height),
        report.points ? "the measured place" : "the lens",
        report.camera,
        {}};
    for (const MapErrors& errors : report.fits) {
        picture.panels.push_back({nameOf(errors.direction) + ": at pixels of the " +
                                      imageOf(errors.direction) + " image",
                                  numbersOf(errors), errors.residuals});
    }
    writePng(path, drawResiduals(picture));
}

/** Does to the finished file what `check` does, and compares its maps with their truth. */
void prove(const Making& making, const Image& image, MakeReport& report) {
    Usability usability;
    {
        const DiagnosticCapture capture;
        usability = usabilityOf(image, usualAgreement);
    }
    // Without a round trip there are no maps to compare.
    if (usability.roundTrip && (making.view || report.points)) {
        compareMaps(making, image, report);
        // First the picture: it shows why models are refused, too, and if it cannot be written,
        // there is no file that the report disowns.
        if (!making.residuals.empty()) {
            drawErrors(making.residuals, report);
        }
        for (const MapErrors& errors : report.fits) {
            if (report.points) {
                refuseFarFromPoints(errors, report.tolerance);
            } else {
                refuseFarFromLens(errors, report.tolerance,
                                  " or fit less of the view with --max-angle");
            }
        }
    }
    if (!usability.faults.empty()) {
        throw Failure(shown(report.file),
                      "no device could use it, " + joined(usability.faults, "; "), making.remedy);
    }
    report.roundTrip = usability.roundTrip;
}

void setFields(const std::vector<std::string>& assignments, Image& image, MakeReport& report) {
    report.set.clear();
    for (const std::string& assignment : assignments) {
        report.set.push_back(setField(image, assignment));
        if (report.set.back() == "extrinsics") {
            report.extrinsics = "as given";
            report.unusedExtrinsics.clear();
        } else if (report.set.back() == "main.coeff") {
            report.coefficients = "as given";
        }
    }
}

/** Writes the file and has the library read it again. */
void writeImage(const Image& image, const std::string& path) {
    OutputFile file(path);
    file.write(image.data(), image.size());
    file.commit();
    Image read{};
    if (path != "-" && image[CALIBMAP_PASS_FLAG] == 1 &&
        (examine(path, read).status != CALIBMAP_SUCCESS || read != image)) {
        throw Failure(path, "does not come back as it was written", "try another disk");
    }
}

}  // namespace

void makeFile(const Making& making, Image& image, MakeReport& report) {
    report.camera = mainCameraOf(image);
    setFields(making.set, image, report);
    storeModels(making, image, report);
    // Again: what is set by name counts more than what has been fitted.
    setFields(making.set, image, report);
    report.passFlag = image[CALIBMAP_PASS_FLAG];
    seal(image);
    if (!making.isUnproved) {
        prove(making, image, report);
    }
    writeImage(image, report.file);
}
