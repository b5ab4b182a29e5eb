// The evaluation of a spline model over an image.
#include "support.h"

namespace {

/** A pair of maps and the status that came with them. */
struct Maps {
    int32_t status = -1;
    Owned<Mat> x, y;
};

/** The maps of an image's undistortion model over an image of any size. */
Maps mapsOf(const Image& image, int32_t width, int32_t height, int32_t ratio) {
    Mat* x = nullptr;
    Mat* y = nullptr;
    const int32_t status = calcMainCameraUnDistortionB(&image[CALIBMAP_MAIN_BLOCK], nullptr, ratio,
                                                       width, height, &x, &y);
    return {status, own(x), own(y)};
}

TEST(Grid, ASampleDoesNotDependOnTheSizeOfTheImage) {
    const Recipe recipe = {450, 611, {500, 450, 210, 300}, 0.0, 0.2};
    // With an infinite coefficient zeros count, in rows computed alone as well as in many together.
    for (const auto& changes : {std::vector<std::string>{}, {"undistortion.x=inf"}}) {
        const Image image = changedImage(recipe, changes);
        const Maps large = mapsOf(image, 450, 611, 1);
        for (const auto& [width, height] :
             {std::array{450, 3}, {17, 611}, {1, 1}, {450, 1}, {450, 65}, {449, 610}}) {
            const Maps small = mapsOf(image, width, height, 1);
            Values x;
            Values y;
            for (int32_t i = 0; i < width * height; ++i) {
                const int32_t at = i / width * 450 + i % width;
                x.push_back(large.x->data[at]);
                y.push_back(large.y->data[at]);
            }
            EXPECT_EQ(bitsOf(elements(small.x)), bitsOf(x)) << width << " x " << height;
            EXPECT_EQ(bitsOf(elements(small.y)), bitsOf(y)) << width << " x " << height;
        }
    }
}

TEST(Grid, TheIdentityGivesTheIdentity) {
    const Image image = calibrationImage({641, 483, {350, 300, 310, 250}});
    for (const int32_t ratio : {1, 2, 3, 4, 7}) {
        const Maps maps = mapsOf(image, 641, 483, ratio);
        ASSERT_EQ(maps.x->rows * maps.x->cols, 483 / ratio * (641 / ratio));
        double worst = 0.0;
        for (int32_t i = 0; i < maps.x->rows * maps.x->cols; ++i) {
            const int32_t row = i / maps.x->cols;
            worst = std::max({worst, std::abs(maps.x->data[i] - i % maps.x->cols),
                              std::abs(maps.y->data[i] - row)});
        }
        EXPECT_LT(worst, 1e-4);  // the file holds floats
    }
}

/** A model that no file holds, with everything that its record points to. */
struct Model {
    Owned<Mat> camera = matrix(3, 3, {40, 0, 20, 0, 36, 15, 0, 0, 1});
    Owned<VectorDouble> knots = vectorOf({-2, -2, -2, -0.9, 0.1, 0.8, 2, 2, 2});
    Owned<Mat> xGrid = own(createMat(6, 6));
    Owned<Mat> yGrid = own(createMat(6, 6));

    Model() {
        std::mt19937_64 random(7);
        for (int32_t i = 0; i < 36; ++i) {
            xGrid->data[i] = static_cast<double>(random() % 1000) * 0.001;
            yGrid->data[i] = static_cast<double>(random() % 1000) * 0.001;
        }
    }
    [[nodiscard]] BsplineModel record() const {
        return {3, 3, 6, 4, knots.get(), knots.get(), xGrid.get(), yGrid.get()};
    }
    [[nodiscard]] Maps maps() const {
        const BsplineModel model = record();
        Mat* x = nullptr;
        Mat* y = nullptr;
        const int32_t status = undisortionBspline(camera.get(), &model, nullptr, 70, 9, 1, &x, &y);
        return {status, own(x), own(y)};
    }
};

TEST(Grid, TakesShapesFromTheMatrices) {
    Model model;
    const auto expected = elements(model.maps().y);
    model.camera = matrix(2, 4, {40, 7, 20, 7, 7, 36, 15, 7});
    EXPECT_EQ(bitsOf(elements(model.maps().y)), bitsOf(expected));
    // Grids that do not fit are missed where they are needed first.
    const auto refusal = [](Owned<Mat> Model::*grid, int32_t rows, int32_t cols) {
        Model other;
        other.*grid = own(createMat(rows, cols));
        return printedBy([&] { EXPECT_EQ(other.maps().status, 7); }).substr(31);
    };
    EXPECT_EQ(refusal(&Model::xGrid, 5, 6), "132 leave. calc colMatrixYmulCorrectMatrixX fail\n");
    EXPECT_EQ(refusal(&Model::xGrid, 6, 5), "197 leave. create outputXmulFx fail\n");
    EXPECT_EQ(refusal(&Model::yGrid, 5, 6), "176 leave. calc outputY fail\n");
    EXPECT_EQ(refusal(&Model::yGrid, 6, 5), "176 leave. calc outputY fail\n");
}

TEST(Grid, ArraysMayOverlapAndThenHoldWhatIsWrittenLast) {
    const Image image = calibrationImage({.width = 37, .height = 150, .undistortionWarp = -0.4});
    const CalibrationOnDisk file(image);
    const Maps maps = mapsOf(image, 37, 150, 1);
    const auto size = static_cast<ptrdiff_t>(elements(maps.x).size());
    for (const ptrdiff_t distance : {-size, 1 - size, ptrdiff_t{-2600}, ptrdiff_t{-1}, ptrdiff_t{0},
                                     ptrdiff_t{1}, ptrdiff_t{2600}, size - 1, size}) {
        std::vector<float> expected(static_cast<size_t>(3 * size));
        float* middle = expected.data() + size;
        for (ptrdiff_t i = 0; i < size; ++i) {
            middle[i] = static_cast<float>(maps.x->data[i]);
            middle[distance + i] = static_cast<float>(maps.y->data[i]);
        }
        std::vector<float> computed(expected.size());
        std::vector<float> copied(expected.size());
        const auto over = [&](std::vector<float>& room) {
            return CamDistortionLUT{room.data() + size, room.data() + size + distance, 150, 37};
        };
        const CamDistortionLUT first = over(computed);
        const CamDistortionLUT second = over(copied);
        EXPECT_EQ(DistortionProcess(CALIBMAP_UNDISTORTION, 1, nullptr, &first), 0);
        EXPECT_EQ(extractDistData2CamDistortionLUT(maps.x.get(), maps.y.get(), &second), 0);
        EXPECT_EQ(computed, expected) << distance;
        EXPECT_EQ(copied, expected) << distance;
    }
}

TEST(Grid, MapsMayTakeThePlaceOfTheGridsTheyComeFrom) {
    const Model model;
    const Maps expected = model.maps();
    BsplineModel record = model.record();
    EXPECT_EQ(undisortionBspline(model.camera.get(), &record, nullptr, 70, 9, 1,
                                 &record.xcorrectMatrix, &record.ycorrectMatrix),
              0);
    const auto x = own(record.xcorrectMatrix);
    const auto y = own(record.ycorrectMatrix);
    EXPECT_EQ(bitsOf(elements(x)), bitsOf(elements(expected.x)));
    EXPECT_EQ(bitsOf(elements(y)), bitsOf(elements(expected.y)));
}

}  // namespace
