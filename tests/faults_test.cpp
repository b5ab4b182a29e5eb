// An exhausted heap and wrong live counts, at every place where either can strike. The library is
// linked statically here, so that its requests, and no one else's, go through the functions below.
#include <functional>
#include <map>
#include <numeric>

#include "support.h"

namespace {

/** What the heap does to the library while a call is watched, and what it sees of it. */
struct Heap {
    int firstRefused = -1;  ///< the request (from 0) that is refused,
    int step = 0;           ///< and every step-th after it
    int leakAt = -1;        ///< the request during which the live counts move,
    int vectors = 0;        ///< by these
    int mats = 0;
    bool watched = false;
    int requests = 0, refused = 0, live = 0, empty = 0;

    bool grants(size_t size) {
        if (!watched) {
            return true;
        }
        const int at = requests++;
        gTotalVecCnt += at == leakAt ? vectors : 0;
        gMatCnt += at == leakAt ? mats : 0;
        const bool inTurn = step > 0 && at > firstRefused && (at - firstRefused) % step == 0;
        const bool refuses = at == firstRefused || inTurn;
        empty += size == 0 ? 1 : 0;
        ++(refuses ? refused : live);
        return !refuses;
    }
};

Heap heap;

/** While it stands, each block ends where a page begins that nobody may touch, and holds NaNs. */
struct Fence {
    static constexpr size_t page = size_t{1} << 16U;  ///< the largest there is
    std::map<void*, std::pair<void*, size_t>> blocks = {};
    bool stands = false;

    void* allocate(size_t size) {
        const size_t used = (size + 7) / 8 * 8;
        const size_t mapped = (used + page - 1) / page * page + page;
        auto* base = static_cast<uint8_t*>(
            mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        uint8_t* block = base + mapped - page - used;
        EXPECT_EQ(mprotect(block + used, page, PROT_NONE), 0);
        std::memset(block, 0xff, used);
        blocks[block] = {base, mapped};
        return block;
    }
    bool release(void* block) {
        const auto found = blocks.find(block);
        if (found == blocks.end()) {
            return false;
        }
        munmap(found->second.first, found->second.second);
        blocks.erase(found);
        return true;
    }
};

Fence fence;

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's.
extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void __real_free(void* block);
void* __wrap_malloc(size_t size) {
    return fence.stands ? fence.allocate(size) : heap.grants(size) ? __real_malloc(size) : nullptr;
}
void* __wrap_calloc(size_t count, size_t size) {
    return heap.grants(count * size) ? __real_calloc(count, size) : nullptr;
}
void __wrap_free(void* block) {
    heap.live -= heap.watched && block != nullptr ? 1 : 0;
    if (!fence.release(block)) {
        __real_free(block);
    }
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

/** A call and the release of what it made. Gives the status, then everything that was made. */
using Subject = std::function<Values()>;

/** Runs a call under the given conditions; no block and no count may stay. */
std::pair<Values, std::string> attempt(const Subject& subject, const Heap& conditions) {
    Values given;
    const auto before = liveCounts();
    const std::string printed = printedBy([&] {
        heap = conditions;
        heap.watched = true;
        given = subject();
        heap.watched = false;
    });
    EXPECT_EQ(heap.live, 0);
    EXPECT_EQ(heap.empty, 0);  // for no bytes a heap may give null
    gTotalVecCnt -= conditions.vectors;
    gMatCnt -= conditions.mats;
    EXPECT_EQ(liveCounts(), before);
    return {given, printed};
}

Values joined(int32_t status, std::initializer_list<Values> made) {
    Values all = {static_cast<double>(status)};
    for (const Values& part : made) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

/** A subject that makes one container. */
template <typename Function, typename... Arguments>
Subject making(Function function, Arguments... arguments) {
    return [=] {
        const auto held = own(function(arguments...));
        return joined(held ? CALIBMAP_SUCCESS : CALIBMAP_STEP_FAILED, {elements(held)});
    };
}

/** A subject that makes two maps, given behind its other arguments. */
template <typename Function, typename... Arguments>
Subject mapping(Function function, Arguments... arguments) {
    return [=] {
        Mat* x = nullptr;
        Mat* y = nullptr;
        const int32_t status = function(arguments..., &x, &y);
        return joined(status, {elements(own(x)), elements(own(y))});
    };
}

class Faults : public testing::Test {
  protected:
    /**
     * Refuses each request alone, then all from each on, then every second one from each on. Writes
     * down the reports that single refusals bring, each once, but for those of the functions that
     * it calls: none of these may be missing, and they stand with the functions themselves.
     */
    void sweep(const std::string& function, const Subject& subject,
               const std::vector<std::string>& callees = {}) {
        SCOPED_TRACE(function);
        std::vector<std::string> found;
        const Values good = attempt(subject, {}).first;
        const int requests = heap.requests;
        EXPECT_EQ(good.at(0), 0.0);
        EXPECT_GE(requests, 2);
        for (int i = 0; i < 3 * requests; ++i) {
            SCOPED_TRACE(i);
            const int step = i / requests;
            const auto [given, printed] =
                attempt(subject, {.firstRefused = i % requests, .step = step});
            faults += heap.refused;
            EXPECT_EQ(given, Values{CALIBMAP_STEP_FAILED});
            std::istringstream lines(printed);
            for (std::string line; std::getline(lines, line) && step == 0;) {
                if (!contains(found, line)) {
                    found.push_back(line);
                }
            }
            // Whatever fails below, the function itself has the last word.
            EXPECT_EQ(printed.rfind("ERROR: "), printed.rfind("ERROR: " + function + " "));
            // One creation in `spcol` has no report of its own.
            EXPECT_TRUE(!printed.empty() || found.empty() || function == "spcol");
            EXPECT_EQ(bitsOf(attempt(subject, {}).first), bitsOf(good));
        }
        std::vector<std::string> ofCallees;
        for (const std::string& callee : callees) {
            const auto& reports = reportsOf.at(callee);
            ofCallees.insert(ofCallees.end(), reports.begin(), reports.end());
        }
        for (const std::string& report : ofCallees) {
            EXPECT_TRUE(contains(found, report)) << report;
        }
        transcript += found.empty() ? "" : "\n> " + function + "\n";
        for (const std::string& report : found) {
            transcript += contains(ofCallees, report) ? "" : report + "\n";
        }
        reportsOf[function] = found;
    }

    static bool contains(const std::vector<std::string>& reports, const std::string& report) {
        return std::find(reports.begin(), reports.end(), report) != reports.end();
    }

    std::map<std::string, std::vector<std::string>> reportsOf;
    int faults = 0;
    std::string transcript;
    const Image image = calibrationImage({.width = 5, .height = 3, .distortionWarp = 0.1});
    const CalibrationOnDisk file{image};
    const uint8_t* block = &image[CALIBMAP_MAIN_BLOCK];
    const Owned<VectorDouble> knots = vectorOf({-1, -1, -1, -0.5, 0.25, 1, 1, 1});
    const Owned<Mat> sites = matrix(3, 1, {-1, 0.1, 1});
    const Owned<Mat> camera = matrix(3, 3, {4, 0, 2, 0, 4, 1, 0, 0, 1});
    /** A model of the file's shape, so that both are refused with the same words. */
    const Owned<VectorDouble> xKnots =
        own(augknt_init(vectorOf({-1, -0.5, -0.1, 0, 0.2, 0.5, 1}).get(), 7));
    const Owned<VectorDouble> yKnots = own(augknt_init(vectorOf({-1, -0.5, 0, 0.5, 1}).get(), 7));
    const Owned<Mat> grid = matrix(10, 12, Values(120, 0.5));
    const BsplineModel model = {7, 7, 6, 4, xKnots.get(), yKnots.get(), grid.get(), grid.get()};
    const Subject row = making(spcol, knots.get(), 3, 0.1);
    const Subject rows = making(collocationMatrix, knots.get(), 3, sites.get());
    const Subject maps = mapping(undisortionBspline, camera.get(), &model, nullptr, 5, 3, 1);
    const Subject distortion = mapping(calcMainCameraDistortionB, block, nullptr, 1, 5, 3);
    const Subject undistortion = mapping(calcMainCameraUnDistortionB, block, nullptr, 1, 5, 3);
    /** What it has written into the caller's arrays follows the status. */
    const Subject driver = [] {
        const CallerMap out(3, 5);
        const int32_t status = doDistortionProcess(calibin, 1, 1, nullptr, &out.lut);
        return joined(status, {out.written()});
    };
};

TEST_F(Faults, EveryRefusedRequestEndsInItsReport) {
    const Mat* m = sites.get();
    const auto square = own(createMat(2, 2));
    const auto tile = own(createMatInt(2, 2));
    const float numbers[] = {1, 2, 3};
    transcript =
        "# What is reported when the heap refuses one request, but for what called functions "
        "report.\n";
    sweep("createMat", making(createMat, 0, 5));
    sweep("createMatFromArray", making(createMatFromArray, 3, 1, m->data));
    sweep("cloneMat", making(cloneMat, m));
    sweep("matAdd", making(matAdd, m, m));
    sweep("matDivk", making(matDivk, m, 3));
    sweep("matMul", making(matMul, square.get(), square.get()));
    sweep("matT", making(matT, m));
    sweep("createMatInt", making(createMatInt, 2, 0));
    sweep("createVectorDouble", making(createVectorDouble, 0));
    sweep("matIntAdd", making(matIntAdd, tile.get(), tile.get()));
    sweep("copyFromVector", making(copyFromVector, knots.get(), 3));
    sweep("vectorCopyFromDoubleArray", making(vectorCopyFromDoubleArray, m->data, 3));
    sweep("vectorCopyFromFloatArray", making(vectorCopyFromFloatArray, numbers, 3));
    sweep("diff", making(diff, knots.get()));
    sweep("augknt_init", making(augknt_init, knots.get(), 3));
    sweep("repmatInt", making(repmatInt, tile.get(), 2, 2));
    sweep("spcol", row, {"diff", "repmatInt"});
    sweep("collocationMatrix", rows, {"spcol"});
    sweep("undisortionBspline", maps, {"collocationMatrix"});
    sweep("calcMainCameraDistortionB", distortion, {"createMatFromArray", "undisortionBspline"});
    sweep("calcMainCameraUnDistortionB", undistortion,
          {"createMatFromArray", "undisortionBspline"});
    sweep("doDistortionProcess", driver, {"calcMainCameraDistortionB"});
    expectFile(transcript, "faults.txt");
    RecordProperty("faults", faults);
    std::printf("%d faults injected\n", faults);
}

TEST_F(Faults, ALiveCountThatMovesIsReported) {
    std::ostringstream said;
    said << "# Call, request, vectors, matrices: both counts move while the heap is asked.\n";
    const auto leak = [&](const std::string& name, const Subject& subject, const Heap& conditions) {
        const auto [given, printed] = attempt(subject, conditions);
        const Values expected = given.at(0) == 0 ? attempt(subject, {}).first : Values{given[0]};
        EXPECT_EQ(bitsOf(given), bitsOf(expected)) << name;
        said << name << ' ' << conditions.leakAt << ' ' << conditions.vectors << ' '
             << conditions.mats << " = " << given[0] << '\n'
             << printed;
    };
    for (const auto& [vectors, mats] : {std::pair(1, 0), {0, -1}, {-1, 2}}) {
        const Heap first = {.leakAt = 0, .vectors = vectors, .mats = mats};
        said << '\n';
        leak("spcol", row, first);
        leak("collocationMatrix", rows, first);
        leak("undisortionBspline", maps, first);
        leak("calcMainCameraDistortionB", distortion, first);
        leak("calcMainCameraUnDistortionB", undistortion, first);
        // Seven containers, of two requests each, stand before the evaluation starts.
        leak("doDistortionProcess", driver, {.leakAt = 14, .vectors = vectors, .mats = mats});
        // And these are asked by `spcol`, the first two and the last for the row along x.
        leak("collocationMatrix", rows, {.leakAt = 2, .vectors = vectors, .mats = mats});
        leak("collocationMatrix", rows, {.leakAt = 25, .vectors = vectors, .mats = mats});
        leak("undisortionBspline", maps, {.leakAt = 40, .vectors = vectors, .mats = mats});
        leak("doDistortionProcess", driver, {.leakAt = 22, .vectors = vectors, .mats = mats});
    }
    expectFile(said.str(), "leaks.txt");
}

TEST_F(Faults, NothingDependsOnWhatABlockHeldOrLiesBehindIt) {
    const auto expectSame = [](const std::string& name, const Subject& subject) {
        const Values plain = subject();
        fence.stands = true;
        const Values fenced = subject();
        fence.stands = false;
        EXPECT_EQ(bitsOf(fenced), bitsOf(plain)) << name;
    };
    expectSame("spcol", row);
    expectSame("collocationMatrix", rows);
    expectSame("undisortionBspline", maps);
    expectSame("calcMainCameraUnDistortionB", undistortion);
    expectSame("doDistortionProcess", driver);
    for (int32_t n = 2; n <= 40; ++n) {
        expectSame("operations on " + std::to_string(n), [n] {
            const auto filled = [](int32_t height, int32_t width) {
                const auto count = static_cast<size_t>(height) * static_cast<size_t>(width);
                return matrix(height, width, Values(count, 1.0 / height));
            };
            const auto a = filled(n, n % 7 + 1);
            const auto b = filled(n % 7 + 1, n);
            const auto sum = own(matAdd(a.get(), a.get()));
            const auto quotient = own(matDivk(sum.get(), 3));
            const auto transposed = own(matT(quotient.get()));
            const auto breaks = own(vectorCopyFromDoubleArray(a->data, n));
            std::iota(breaks->data, breaks->data + n, 0.0);
            const auto basis = own(augknt_init(breaks.get(), n % 10 + 1));
            return joined(0, {elements(own(matMul(a.get(), b.get()))), elements(transposed),
                              elements(own(matMul(b.get(), a.get()))),
                              elements(own(spcol(basis.get(), n % 10 + 1, n / 2.0)))});
        });
        const int32_t width = 1 + n * 23 % 150;
        const int32_t height = 1 + n * 17 % 150;
        const Image wide = calibrationImage({.width = width, .height = height});
        expectSame("maps of " + std::to_string(n),
                   mapping(calcMainCameraDistortionB, &wide[CALIBMAP_MAIN_BLOCK], nullptr, 1, width,
                           height));
    }
}

}  // namespace
