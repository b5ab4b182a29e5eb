#include "fuzz/harness.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

uint8_t blockPattern = 0;

}  // namespace

void require(bool holds, const char* claim) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", claim);
        std::abort();
    }
}

#ifdef __x86_64__
// What `__builtin_cpu_supports` reads.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" uint32_t __cpu_model[4];
#endif

void runWith(uint8_t heapContent, uint32_t lanes) {
    blockPattern = heapContent;
#ifdef __x86_64__
    static const uint32_t features = __cpu_model[3];
    constexpr uint32_t avx2 = 1U << 10U;
    constexpr uint32_t avx512f = 1U << 15U;
    __cpu_model[3] = features & ~(lanes < 8 ? avx512f : 0U) & ~(lanes < 4 ? avx2 : 0U);
#endif
}

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's.
extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __wrap_malloc(size_t size);
void* __wrap_calloc(size_t count, size_t size);

void* __wrap_malloc(size_t size) {
    void* block = size > largestBlock ? nullptr : __real_malloc(size);
    if (block != nullptr) {
        memset(block, blockPattern, std::min(size, size_t{1} << 16U));
    }
    return block;
}

void* __wrap_calloc(size_t count, size_t size) {
    return size > 0 && count > largestBlock / size ? nullptr : __real_calloc(count, size);
}
}
// NOLINTEND(bugprone-reserved-identifier)

// NOLINTNEXTLINE(bugprone-reserved-identifier): AddressSanitizer asks by this name.
extern "C" const char* __asan_default_options() {
    // Giving memory back to the kernel can take seconds on a busy machine, which looks like a hang.
    return "allocator_release_to_os_interval_ms=-1:quarantine_size_mb=16";
}

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    require(std::freopen("/dev/null", "w", stdout) != nullptr, "standard output goes nowhere");
    return 0;
}
