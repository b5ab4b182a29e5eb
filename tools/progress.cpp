#include "progress.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <optional>
#include <thread>

#include "inspection/text.h"

namespace {

/** The thread that shows the work; it lives as long as the work. */
class Display {
  public:
    explicit Display(std::string work) : work_(std::move(work)), thread_([this] { run(); }) {}
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;
    ~Display() {
        {
            const std::lock_guard lock(mutex_);
            ended_ = true;
        }
        changed_.notify_one();
        thread_.join();
    }

    std::atomic<double> fraction{-1};

  private:
    void run() {
        // Signals are for the thread that writes files.
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, nullptr);
        using std::chrono::steady_clock;
        const steady_clock::time_point start = steady_clock::now();
        std::unique_lock lock(mutex_);
        bool isShown = false;
        for (auto next = start + std::chrono::seconds(2);
             !changed_.wait_until(lock, next, [this] { return ended_; });
             next += std::chrono::milliseconds(500)) {
            const double done = fraction;
            const auto seconds =
                std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - start);
            const std::string how = done >= 0
                                        ? format("%.0f %%", 100 * done)
                                        : format("%lld s", static_cast<long long>(seconds.count()));
            // Carriage return, and clear to the end of the line.
            std::fprintf(stderr, "\r%s: %s\033[K", work_.c_str(), how.c_str());
            isShown = true;
        }
        if (isShown) {
            std::fputs("\r\033[K", stderr);
        }
    }

    std::string work_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool ended_ = false;
    std::thread thread_;
};

bool isWorking = false;
std::optional<Display> display;

}  // namespace

Progress::Progress(const std::string& work) : isOutermost_(!isWorking) {
    if (isOutermost_ && isatty(STDERR_FILENO) == 1) {
        display.emplace(shown(work));
    }
    isWorking = true;
}

Progress::~Progress() {
    if (isOutermost_) {
        display.reset();
        isWorking = false;
    }
}

void Progress::reached(double fraction) const {
    if (isOutermost_ && display) {
        display->fraction = fraction;
    }
}
