// Computations on threads with small stacks. A stack that is too small has to end at its guard
// page: what lies beyond belongs to somebody else.
//
// A thread gets a stack whose memory is laid out by hand, from the lowest address on: bytes of a
// pattern, shared with the process that looks at them afterwards; a guard page; the stack. It runs
// in a process of its own, which the guard page may end. From the upper end of the stack the C
// library takes the thread's own record and its thread-local storage, two or three kilobytes, so
// the library gets less than a thread was given. A thread may also use up a part of its stack
// before it calls: thus it meets the guard page at any distance, and thus a stack is made smaller
// than the least that this system starts a thread with (arm64: 128 KiB).
#include <pthread.h>
#include <sys/wait.h>

#include <csignal>
#include <functional>

#include "support.h"

namespace {

constexpr size_t kilobyte = 1024;
constexpr size_t pageSize = 4 * kilobyte;
constexpr size_t beyondSize = 64 * kilobyte;
constexpr uint8_t pattern = 0xA5;

/** Something to compute, and what one gets on a large stack. */
struct Computation {
    std::function<Values()> compute;
    Values expected;
};

/** How a process ends that computes on a small stack. */
enum Ending { right = 0, wrong, atGuardPage, elsewhere };

/** What a thread is to do, and what came of it. */
struct Task {
    const Computation& computation;
    size_t usedBefore;  ///< bytes of the stack that are in use before
    Ending ending = wrong;
};

uint8_t* guardPage = nullptr;
std::array<uint8_t, 64 * kilobyte> handlerStack;

void endAtFault(int /*signal*/, siginfo_t* fault, void* /*context*/) {
    const auto* address = static_cast<const uint8_t*>(fault->si_addr);
    const bool guarded = address >= guardPage && address < guardPage + pageSize;
    _exit(guarded ? atGuardPage : elsewhere);
}

void* runTask(void* argument) {
    auto* task = static_cast<Task*>(argument);
    const stack_t alternate = {handlerStack.data(), 0, handlerStack.size()};
    sigaltstack(&alternate, nullptr);
    // Touched from its upper end on, as a stack grows: this, too, may meet the guard page.
    auto* used = static_cast<volatile uint8_t*>(__builtin_alloca(task->usedBefore + 1));
    for (size_t i = task->usedBefore; i > 0; --i) {
        used[i] = 0;
    }
    task->ending = task->computation.compute() == task->computation.expected ? right : wrong;
    return nullptr;
}

/** Runs the task on a stack between `bottom` and `bottom + size`. */
Ending runOnStack(Task task, uint8_t* bottom, size_t size) {
    struct sigaction action = {};
    action.sa_sigaction = endAtFault;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    pthread_attr_t attributes;
    pthread_t thread = {};
    const bool ran = sigaction(SIGSEGV, &action, nullptr) == 0 &&
                     pthread_attr_init(&attributes) == 0 &&
                     pthread_attr_setstack(&attributes, bottom, size) == 0 &&
                     pthread_create(&thread, &attributes, runTask, &task) == 0 &&
                     pthread_join(thread, nullptr) == 0;
    return ran ? task.ending : elsewhere;
}

/** What became of a computation. */
struct Outcome {
    int ending;
    size_t changedBytes;  ///< beyond the guard page
};

/** Computes on a stack of `size` bytes of which `usedBefore` are in use already. */
Outcome onStack(const Computation& computation, size_t size, size_t usedBefore = 0) {
    const size_t given = std::max(size, static_cast<size_t>(sysconf(_SC_THREAD_STACK_MIN)));
    const size_t mapped = beyondSize + pageSize + given;
    void* memory = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    EXPECT_NE(memory, MAP_FAILED);
    auto* beyond = static_cast<uint8_t*>(memory);
    guardPage = beyond + beyondSize;
    std::fill(beyond, guardPage, pattern);
    EXPECT_EQ(mprotect(guardPage, pageSize, PROT_NONE), 0);

    const pid_t child = fork();
    if (child == 0) {
        _exit(runOnStack({computation, usedBefore + given - size}, guardPage + pageSize, given));
    }
    int state = 0;
    EXPECT_EQ(waitpid(child, &state, 0), child);
    const auto untouched = static_cast<size_t>(std::count(beyond, guardPage, pattern));
    munmap(memory, mapped);
    return {WIFEXITED(state) ? WEXITSTATUS(state) : elsewhere, beyondSize - untouched};
}

/** A map, as a caller gets it who asks for its size first. */
Values map(int32_t flag, int32_t ratio) {
    CameraIntrinsics camera = {};
    if (GetCameraIntrinsicAndExtrinsic(&camera, nullptr, nullptr) != 0) {
        return {};
    }
    CallerMap map(camera.imageHeight / ratio, camera.imageWidth / ratio);
    return DistortionProcess(flag, ratio, nullptr, &map.lut) == 0 ? map.written() : Values();
}

class Stacks : public testing::Test {
  protected:
    // 130 columns are many vectors and a remainder, 21 so few that a large buffer stays half empty.
    Stacks() : file_(calibrationImage({130, 97, {117, 117, 65, 48}, 0.2, -0.1})) {
        const auto left = std::make_shared<Values>(97 * 12, 0.1);
        const auto right = std::make_shared<Values>(12 * 130, 0.3);
        add([] { return map(CALIBMAP_DISTORTION, 1); });
        add([] { return map(CALIBMAP_UNDISTORTION, 6); });
        add([=] {
            return elements(
                own(matMul(matrix(97, 12, *left).get(), matrix(12, 130, *right).get())));
        });
    }
    [[nodiscard]] const std::vector<Computation>& computations() const { return computations_; }

  private:
    void add(const std::function<Values()>& compute) {
        computations_.push_back({compute, compute()});
        EXPECT_FALSE(computations_.back().expected.empty());
    }
    CalibrationOnDisk file_;
    std::vector<Computation> computations_;
};

TEST_F(Stacks, TwentyFourKilobytesAreEnough) {
    for (const Computation& computation : computations()) {
        EXPECT_EQ(onStack(computation, 24 * kilobyte).ending, right);
    }
}

TEST_F(Stacks, NothingBeyondTheGuardPageChanges) {
    int enough = 0;
    int stopped = 0;
    const auto look = [&](size_t size, size_t usedBefore) {
        for (const Computation& computation : computations()) {
            const auto [ending, changedBytes] = onStack(computation, size, usedBefore);
            enough += ending == right ? 1 : 0;
            stopped += ending == atGuardPage ? 1 : 0;
            EXPECT_TRUE((ending == right || ending == atGuardPage) && changedBytes == 0)
                << size << " bytes, " << usedBefore << " used: ending " << ending << ", "
                << changedBytes << " bytes changed beyond the guard page";
        }
    };
    for (size_t size = 16 * kilobyte; size <= 64 * kilobyte; size += kilobyte) {
        look(size, 0);
    }
    for (size_t used = 0; used <= 32 * kilobyte; used += 128) {
        look(32 * kilobyte, used);
    }
    EXPECT_GT(enough, 50);
    EXPECT_GT(stopped, 50);
}

}  // namespace
