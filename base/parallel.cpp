// parallel_for_ on oneTBB, and the processor-feature query.
#include "tarvo/parallel.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <tbb/blocked_range.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>

#include "hwy/targets.h"

namespace tarvo {

ParallelLoopBody::~ParallelLoopBody() {}

namespace {

std::atomic<bool> g_useOptimized{true};
std::mutex g_threadsMutex;
std::unique_ptr<tbb::global_control> g_threadLimit;
int g_numThreads = 0;  // 0: all processors

int processors() {
    unsigned n = std::thread::hardware_concurrency();
    return n ? (int)n : 1;
}

}  // namespace

void parallel_for_(const Range& range, const ParallelLoopBody& body, double nstripes) {
    if (range.end <= range.start) return;
    const long long len = (long long)range.end - range.start;
    // Default: a few stripes per thread so work stealing can balance.
    long long stripes = nstripes < 0 ? (long long)getNumThreads() * 4 : (long long)nstripes;
    if (!(nstripes == nstripes)) stripes = 1;  // NaN
    stripes = std::min(stripes, len);
    if (stripes <= 1 || len == 1 || getNumThreads() <= 1) {
        body(range);
        return;
    }
    const long long grain = (len + stripes - 1) / stripes;
    const auto runStripe = [&](long long s) {
        long long a = range.start + s * grain;
        long long b = std::min<long long>(a + grain, range.end);
        if (a < b) body(Range((int)a, (int)b));
    };
#ifdef TARVO_THREADS_BACKEND_STD
    // The same stripes handed out by an atomic counter to plain threads that
    // are joined before returning: every hand-off is a thread start or join,
    // which ThreadSanitizer sees (it cannot see inside an uninstrumented oneTBB).
    std::atomic<long long> next{0};
    const auto work = [&] {
        for (long long s; (s = next.fetch_add(1)) < stripes;) runStripe(s);
    };
    std::vector<std::thread> pool;
    const long long workers = std::min<long long>(getNumThreads(), stripes);
    for (long long i = 1; i < workers; i++) {
        try {
            pool.emplace_back(work);
        } catch (...) {
            break;  // no more threads: the caller's thread does the rest
        }
    }
    work();
    for (std::thread& t : pool) t.join();
    return;
#endif
    tbb::parallel_for(
        tbb::blocked_range<long long>(0, stripes, 1),
        [&](const tbb::blocked_range<long long>& r) {
            for (long long s = r.begin(); s < r.end(); s++) runStripe(s);
        },
        tbb::simple_partitioner());
}

void setNumThreads(int n) {
    std::lock_guard<std::mutex> lock(g_threadsMutex);
    g_threadLimit.reset();
    if (n >= 1) {
        g_threadLimit.reset(
            new tbb::global_control(tbb::global_control::max_allowed_parallelism, (size_t)n));
        g_numThreads = n;
    } else {
        g_numThreads = 0;
    }
}

int getNumThreads() {
    int n = g_numThreads;
    int all = (int)tbb::global_control::active_value(tbb::global_control::max_allowed_parallelism);
    if (all < 1) all = processors();
    return n >= 1 ? std::min(n, all) : all;
}

bool checkHardwareSupport(int feature) {
    if (!g_useOptimized.load(std::memory_order_relaxed)) return false;
    // The processor does not change under us: ask Highway once.
    static const int64_t targets = hwy::SupportedTargets();
#if HWY_ARCH_X86
    switch (feature) {
        case CPU_FLOAT_VECTORS:
        case CPU_INT_VECTORS:
            return (targets & (HWY_SSSE3 | HWY_SSE4 | HWY_AVX2 | HWY_AVX3)) != 0;
        case CPU_SSE41:
            return (targets & (HWY_SSE4 | HWY_AVX2 | HWY_AVX3)) != 0;
        case CPU_AVX:
        case CPU_AVX2:
            return (targets & (HWY_AVX2 | HWY_AVX3)) != 0;
        default:
            return false;
    }
#else
    // Other architectures: the baseline vector unit (e.g. NEON) serves codes 2 to 4.
    (void)targets;
    return feature >= CPU_FLOAT_VECTORS && feature <= CPU_SSE41;
#endif
}

const char* hardwareFeatureNames() {
    static std::string names;
    static std::once_flag once;
    std::call_once(once, [] {
        // The processor does not change under us: ask Highway once.
        static const int64_t targets = hwy::SupportedTargets();
        for (int i = 0; i < 63; i++) {
            const int64_t bit = (int64_t)(1ULL << i);
            if (!(targets & bit) || bit == HWY_SCALAR || bit == HWY_EMU128) continue;
            if (!names.empty()) names += ' ';
            names += hwy::TargetName(bit);
        }
        if (names.empty()) names = "none";
    });
    return names.c_str();
}

namespace detail {
void setUseOptimized(bool on) {
    g_useOptimized.store(on);
}
bool useOptimized() {
    return g_useOptimized.load();
}
}  // namespace detail

}  // namespace tarvo
