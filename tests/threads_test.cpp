// The library as a program with many threads sees it. What is computed at once is compared with
// what one thread computed before. The environment makes a long run of it:
//
//     CALIBMAP_TEST_THREADS=8 CALIBMAP_TEST_REPETITIONS=20000 threads_test
#include <fcntl.h>
#include <sys/wait.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <functional>
#include <latch>
#include <sstream>
#include <thread>

#include "support.h"

namespace {

/** A size of the run. */
int fromEnvironment(const char* name, int otherwise) {
    const char* value = std::getenv(name);
    return value == nullptr ? otherwise : static_cast<int>(std::strtol(value, nullptr, 10));
}

const int threadCount = fromEnvironment("CALIBMAP_TEST_THREADS", 4);
const int repetitions = fromEnvironment("CALIBMAP_TEST_REPETITIONS", 150);

/** Runs work(0) to work(count - 1) in threads that begin together, and waits for all of them. */
void atOnce(int count, const std::function<void(int)>& work) {
    std::latch begin(count);
    std::vector<std::jthread> threads;
    threads.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            begin.arrive_and_wait();
            work(i);
        });
    }
}

/** A calibration file at a path of its own. */
class FileOnDisk {
  public:
    explicit FileOnDisk(const Recipe& recipe)
        : path_("calib-" + std::to_string(getpid()) + "-" + std::to_string(recipe.width) + ".bin") {
        const Image image = calibrationImage(recipe);
        std::ofstream(path_, std::ios::binary) << std::string(image.begin(), image.end());
    }
    ~FileOnDisk() { std::remove(path_.c_str()); }
    FileOnDisk(const FileOnDisk&) = delete;
    FileOnDisk& operator=(const FileOnDisk&) = delete;
    [[nodiscard]] const char* path() const { return path_.c_str(); }

  private:
    std::string path_;
};

/** Files of several sizes, the first of which `calibin` names. */
class Files {
  public:
    Files() {
        for (const auto& [width, height] : {std::array{20, 15}, {61, 47}, {130, 97}, {322, 246}}) {
            const auto w = static_cast<float>(width);
            const auto h = static_cast<float>(height);
            files_.emplace_back(
                Recipe{width, height, {0.9F * w, 0.9F * w, 0.5F * w, 0.5F * h}, 0.2, -0.1});
        }
        std::snprintf(calibin, sizeof calibin, "%s", files_[0].path());
    }
    [[nodiscard]] const char* path(size_t i) const { return files_[i].path(); }
    [[nodiscard]] size_t count() const { return files_.size(); }

  private:
    std::deque<FileOnDisk> files_;
};

/** A request for a map, and the map that it has to give. */
struct MapRequest {
    const char* path;  ///< null: the file that `calibin` names
    int32_t flag;
    int32_t ratio;
    Values expected;

    /** The map as a caller gets it who asks for the size first; nothing when a step fails. */
    [[nodiscard]] Values ask() const {
        CameraIntrinsics camera = {};
        const int32_t found = path == nullptr
                                  ? GetCameraIntrinsicAndExtrinsic(&camera, nullptr, nullptr)
                                  : getCameraIntrinsicAndExtrinsic(path, &camera, nullptr, nullptr);
        if (found != 0) {
            return {};
        }
        CallerMap map(camera.imageHeight / ratio, camera.imageWidth / ratio);
        const int32_t status = path == nullptr
                                   ? DistortionProcess(flag, ratio, nullptr, &map.lut)
                                   : doDistortionProcess(path, flag, ratio, nullptr, &map.lut);
        return status == CALIBMAP_SUCCESS ? map.written() : Values();
    }
};

/** Requests for maps of all sizes in both directions, with what one thread gets. */
std::vector<MapRequest> mapRequests(const Files& files) {
    std::vector<MapRequest> requests;
    for (size_t i = 0; i < files.count(); ++i) {
        for (const int32_t flag : {CALIBMAP_DISTORTION, CALIBMAP_UNDISTORTION}) {
            for (const int32_t ratio : {1, 2}) {
                requests.push_back({i == 0 ? nullptr : files.path(i), flag, ratio, {}});
                requests.back().expected = requests.back().ask();
                EXPECT_FALSE(requests.back().expected.empty());
            }
        }
    }
    return requests;
}

/** All elements that some work with containers of every kind and with the spline toolkit gives. */
Values workWithContainers() {
    Values all;
    const auto keep = [&](const auto& container) {
        const Values found = elements(container);
        all.insert(all.end(), found.begin(), found.end());
    };
    const auto breaks = vectorOf({-1, -0.3, 0.2, 1});
    const auto knots = own(augknt_init(breaks.get(), 4));
    const auto sites = matrix(7, 1, {-1, -0.9, -0.4, -0.3, 0, 0.7, 1});
    const auto grid = matrix(6, 6, Values(36, 0.1));
    const auto camera = matrix(3, 3, {20, 0, 12, 0, 20, 9, 0, 0, 1});
    const auto counts = own(createMatInt(2, 3));
    keep(own(diff(breaks.get())));
    keep(own(spcol(knots.get(), 4, 0.1)));
    keep(own(matMul(own(collocationMatrix(knots.get(), 4, sites.get())).get(), grid.get())));
    keep(own(matT(own(matAdd(grid.get(), grid.get())).get())));
    keep(own(repmatInt(own(matIntAdd(counts.get(), counts.get())).get(), 2, 2)));
    all.push_back(own(createVectorInt(3))->size);
    all.push_back(own(createVectorFloat(4))->size);
    double left = 0;
    all.push_back(augknt(knots.get(), &left, 4));

    const BsplineModel model = {4, 4, 3, 3, knots.get(), knots.get(), grid.get(), grid.get()};
    Mat* x = nullptr;
    Mat* y = nullptr;
    all.push_back(undisortionBspline(camera.get(), &model, nullptr, 24, 18, 2, &x, &y));
    keep(own(x));
    keep(own(y));
    return all;
}

TEST(Threads, MapsAndContainersAreWhatOneThreadGets) {
    const Files files;
    const auto requests = mapRequests(files);
    const Values expected = workWithContainers();
    std::atomic failed = 0;
    std::atomic wrong = 0;
    std::atomic<int> asking = threadCount;
    std::atomic wrongWork = 0;
    std::atomic wrongCounts = 0;

    const auto askForMaps = [&](int thread) {
        for (int i = 0; i < repetitions; ++i) {
            const MapRequest& request =
                requests[static_cast<size_t>(i * 7 + thread) % requests.size()];
            const Values map = request.ask();
            failed += map.empty() ? 1 : 0;
            wrong += !map.empty() && bitsOf(map) != bitsOf(request.expected) ? 1 : 0;
        }
        --asking;
    };
    const auto useContainers = [&] {
        while (asking > 0) {
            wrongWork += bitsOf(workWithContainers()) != bitsOf(expected) ? 1 : 0;
            const auto [mats, vectors] = liveCounts();
            wrongCounts += mats < 0 || vectors < 0 ? 1 : 0;
        }
    };
    const std::string printed = printedBy([&] {
        atOnce(threadCount + 2,
               [&](int thread) { thread < threadCount ? askForMaps(thread) : useContainers(); });
    });

    EXPECT_EQ(failed, 0) << "of " << threadCount * repetitions << " maps";
    EXPECT_EQ(wrong, 0) << "of " << threadCount * repetitions << " maps";
    EXPECT_EQ(wrongWork, 0);
    EXPECT_EQ(wrongCounts, 0);
    EXPECT_EQ(std::ranges::count(printed, '\n'), 0) << printed.substr(0, 500);
    EXPECT_EQ(liveCounts(), std::pair(0, 0));
}

/** A line of the run: what the program says after a report, or the report of a wrong flag. */
std::string lineOf(int flag, bool own) {
    return own ? "own " + std::to_string(flag)
               : "ERROR: DistortionProcess line:116 leave. input flag(" + std::to_string(flag) +
                     ") dose't not support.";
}

TEST(Threads, ReportsStayWholeAndInOrder) {
    constexpr int count = 20'000;  // fewer and the threads may not meet
    const std::string printed = printedBy([&] {
        atOnce(threadCount, [&](int thread) {
            for (int i = 0; i < count; ++i) {
                const int flag = (thread + 1) * count + i;
                DistortionProcess(flag, 1, nullptr, nullptr);
                std::printf("%s\n", lineOf(flag, true).c_str());
            }
        });
    });

    int broken = 0;
    int outOfOrder = 0;
    std::vector<int> last(static_cast<size_t>(threadCount) + 1, -1);
    std::istringstream lines(printed);
    for (std::string line; std::getline(lines, line);) {
        const bool own = line.starts_with("own");
        int flag = 0;
        std::sscanf(line.c_str(), own ? "own %d" : "%*[^(](%d", &flag);
        if (line != lineOf(flag, own)) {
            ++broken;
            continue;
        }
        int& before = last.at(static_cast<size_t>(flag / count));
        const int position = flag % count * 2 + (own ? 1 : 0);
        outOfOrder += position != before + 1 ? 1 : 0;
        before = position;
    }
    EXPECT_EQ(std::ranges::count(printed, '\n'), 2 * count * threadCount);
    EXPECT_EQ(broken, 0) << "of " << 2 * count * threadCount << " lines";
    EXPECT_EQ(outOfOrder, 0);
}

/** What a child does beside nothing: the services work, and report, whatever was going on around
 * the fork. Returns its exit status. */
int useServicesInChild(const MapRequest& request) {
    alarm(20);
    const auto before = liveCounts();
    const bool right = bitsOf(request.ask()) == bitsOf(request.expected);
    DistortionProcess(-1, 1, nullptr, nullptr);
    return right && liveCounts() == before ? 0 : 1;
}

TEST(Threads, AForkBesideABusyThreadHarmsNobody) {
#if defined __SANITIZE_ADDRESS__ || defined __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizers' heaps have locks of their own, which a fork leaves held";
#endif
    const Files files;
    const auto requests = mapRequests(files);
    const int children = std::max(30, repetitions / 10);
    std::atomic failed = 0;
    int hung = 0;
    int wrong = 0;
    const int nowhere = open("/dev/null", O_WRONLY);
    ASSERT_GE(nowhere, 0);
    callWithOutputTo(nowhere, [&] {
        std::atomic done = false;
        std::vector<std::jthread> busy;
        busy.emplace_back([&] {
            for (size_t i = 0; !done; ++i) {
                failed += requests[i % requests.size()].ask().empty() ? 1 : 0;
            }
        });
        busy.emplace_back([&] {
            while (!done) {
                DistortionProcess(-1, 1, nullptr, nullptr);
            }
        });
        busy.emplace_back([&] {
            while (!done) {
                own(createMat(0, 0));
            }
        });
        for (int i = 0; i < children; ++i) {
            const pid_t child = fork();
            if (child == 0) {
                _exit(useServicesInChild(requests[static_cast<size_t>(i) % requests.size()]));
            }
            int state = 0;
            EXPECT_EQ(waitpid(child, &state, 0), child);
            const bool outOfTime = WIFSIGNALED(state) && WTERMSIG(state) == SIGALRM;
            hung += outOfTime ? 1 : 0;
            wrong += state != 0 && !outOfTime ? 1 : 0;
        }
        done = true;
    });
    close(nowhere);
    EXPECT_EQ(hung, 0) << "of " << children << " children";
    EXPECT_EQ(wrong, 0) << "of " << children << " children";
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(liveCounts(), std::pair(0, 0));
}

}  // namespace
