// The evaluation of a spline model over an image, and the maps of a file.
#include "support.h"

namespace {

struct Maps {
    int32_t status = -1;
    Owned<Mat> x, y;
};

/** A model with everything that its record points to. */
struct Model {
    int32_t kx, ky;
    Owned<Mat> camera, xGrid, yGrid;
    Owned<VectorDouble> xKnots, yKnots;

    /** The identity over [-2, 2] in both directions, with some noise. */
    Model(int32_t xOrder, int32_t yOrder, const Values& intrinsics, double noise)
        : kx(xOrder), ky(yOrder), camera(matrix(3, 3, intrinsics)) {
        xKnots = own(augknt_init(vectorOf({-2, -1.2, -0.3, 0, 0.3, 1.2, 2}).get(), kx));
        yKnots = own(augknt_init(vectorOf({-2, -0.9, 0.1, 0.8, 2}).get(), ky));
        const auto us = greville(xKnots.get(), kx);
        const auto vs = greville(yKnots.get(), ky);
        xGrid = own(createMat(yKnots->size - ky, xKnots->size - kx));
        yGrid = own(createMat(yKnots->size - ky, xKnots->size - kx));
        std::mt19937_64 random(7);
        std::uniform_real_distribution<double> uniform(-1.0, 1.0);
        for (size_t i = 0; i < us.size() * vs.size(); ++i) {
            xGrid->data[i] = us[i % us.size()] + noise * uniform(random);
            yGrid->data[i] = vs[i / us.size()] + noise * uniform(random);
        }
    }

    [[nodiscard]] BsplineModel record() const {
        return {static_cast<uint8_t>(kx),
                static_cast<uint8_t>(ky),
                6,
                4,
                xKnots.get(),
                yKnots.get(),
                xGrid.get(),
                yGrid.get()};
    }

    [[nodiscard]] Maps maps(int32_t width, int32_t height, int32_t ratio) const {
        const BsplineModel model = record();
        Mat* x = nullptr;
        Mat* y = nullptr;
        const int32_t status =
            undisortionBspline(camera.get(), &model, nullptr, width, height, ratio, &x, &y);
        return {status, own(x), own(y)};
    }
};

TEST(Grid, ASampleDoesNotDependOnTheSizeOfTheImage) {
    const Model model(7, 7, {500, 0, 210, 0, 450, 300, 0, 0, 1}, 0.1);
    const Maps large = model.maps(450, 611, 1);
    for (const auto& [width, height] : {std::array{450, 3}, {17, 611}, {1, 1}, {449, 610}}) {
        const Maps small = model.maps(width, height, 1);
        for (int32_t i = 0; i < width * height; ++i) {
            const int32_t at = i / width * 450 + i % width;
            ASSERT_EQ(small.x->data[i], large.x->data[at]);
            ASSERT_EQ(small.y->data[i], large.y->data[at]);
        }
    }
}

TEST(Grid, TheIdentityGivesTheIdentity) {
    for (const int32_t ratio : {1, 2, 3, 4}) {
        const Maps maps = Model(6, 5, {350, 0, 310, 0, 300, 250, 0, 0, 1}, 0).maps(641, 483, ratio);
        double worst = 0.0;
        for (int32_t i = 0; i < maps.x->rows * maps.x->cols; ++i) {
            const int32_t row = i / maps.x->cols;
            worst = std::max({worst, std::abs(maps.x->data[i] - i % maps.x->cols),
                              std::abs(maps.y->data[i] - row)});
        }
        EXPECT_LT(worst, 1e-10);
    }
}

TEST(Grid, TakesShapesFromTheMatrices) {
    Model model(7, 7, {40, 0, 20, 0, 36, 15, 0, 0, 1}, 0.1);
    const auto expected = elements(model.maps(40, 30, 2).y);
    model.camera = matrix(2, 4, {40, 7, 20, 7, 7, 36, 15, 7});
    EXPECT_EQ(bitsOf(elements(model.maps(40, 30, 2).y)), bitsOf(expected));
    // Grids of another shape than a file's: each is missed where it is needed first.
    const auto refusal = [&](Owned<Mat> Model::*grid, int32_t rows, int32_t cols) {
        Model other(7, 7, {40, 0, 20, 0, 36, 15, 0, 0, 1}, 0);
        other.*grid = own(createMat(rows, cols));
        return printedBy([&] { EXPECT_EQ(other.maps(8, 6, 1).status, 7); }).substr(31);
    };
    EXPECT_EQ(refusal(&Model::xGrid, 9, 12), "132 leave. calc colMatrixYmulCorrectMatrixX fail\n");
    EXPECT_EQ(refusal(&Model::xGrid, 10, 11), "197 leave. create outputXmulFx fail\n");
    EXPECT_EQ(refusal(&Model::yGrid, 9, 12), "176 leave. calc outputY fail\n");
    EXPECT_EQ(refusal(&Model::yGrid, 10, 11), "176 leave. calc outputY fail\n");
}

TEST(Grid, MapsMayTakeThePlaceOfTheGridsTheyComeFrom) {
    const Model model(7, 7, {40, 0, 20, 0, 36, 15, 0, 0, 1}, 0.1);
    const Maps expected = model.maps(70, 9, 1);
    BsplineModel record = model.record();
    EXPECT_EQ(undisortionBspline(model.camera.get(), &record, nullptr, 70, 9, 1,
                                 &record.xcorrectMatrix, &record.ycorrectMatrix),
              0);
    const auto x = own(record.xcorrectMatrix);
    const auto y = own(record.ycorrectMatrix);
    EXPECT_EQ(bitsOf(elements(x)), bitsOf(elements(expected.x)));
    EXPECT_EQ(bitsOf(elements(y)), bitsOf(elements(expected.y)));
}

TEST(Maps, OfEqualModelsAreEqual) {
    const CalibrationOnDisk file(
        calibrationImage({.distortionWarp = 0.3, .undistortionWarp = 0.3}));
    const CallerMap one(24, 32);
    const CallerMap other(24, 32);
    EXPECT_EQ(DistortionProcess(CALIBMAP_DISTORTION, 1, nullptr, &one.lut), 0);
    EXPECT_EQ(DistortionProcess(CALIBMAP_UNDISTORTION, 1, nullptr, &other.lut), 0);
    EXPECT_EQ(one.written(), other.written());
}

}  // namespace
