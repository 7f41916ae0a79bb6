#include "bench_util.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <vector>

#include "tarvo/parallel.h"

namespace tarvo {
namespace bench {

namespace {

// TARVO_BENCH_THREADS=N pins the library's parallel loop to N threads for the
// whole run, so `make bench` can print single-thread and all-thread tables.
struct ThreadSetting {
    ThreadSetting() {
        if (const char* s = std::getenv("TARVO_BENCH_THREADS")) {
            const int n = std::atoi(s);
            if (n > 0) setNumThreads(n);
        }
    }
};
const ThreadSetting g_threadSetting;

}  // namespace

double copySeconds(int64_t bytes) {
    static std::mutex lock;
    static std::map<int64_t, double> cache;
    std::lock_guard<std::mutex> guard(lock);
    auto it = cache.find(bytes);
    if (it != cache.end()) return it->second;
    const size_t n = size_t(std::max<int64_t>(bytes, 1));
    std::vector<unsigned char> a(n, 1), b(n, 2);
    std::vector<double> times;
    for (int rep = 0; rep < 15; rep++) {
        auto t0 = std::chrono::steady_clock::now();
        std::memcpy(b.data(), a.data(), n);
        benchmark::DoNotOptimize(b.data());
        benchmark::ClobberMemory();
        auto t1 = std::chrono::steady_clock::now();
        times.push_back(std::chrono::duration<double>(t1 - t0).count());
        a[rep % n] ^= 1;
    }
    std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
    const double t = std::max(times[times.size() / 2], 1e-9);
    cache[bytes] = t;
    return t;
}

void setPixelCounters(benchmark::State& state, int64_t pixels, int64_t bytes) {
    const double iters = double(state.iterations());
    state.counters["Mpix/s"] =
        benchmark::Counter(double(pixels) * 1e-6 * iters, benchmark::Counter::kIsRate);
    // kIsRate | kInvert yields elapsed / value = seconds per iteration / copy seconds.
    state.counters["xCopy"] = benchmark::Counter(
        iters * copySeconds(bytes), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.SetBytesProcessed(int64_t(iters) * bytes);
}

bool sameBytes(const Mat& a, const Mat& b) {
    if (a.rows() != b.rows() || a.cols() != b.cols() || a.type1() != b.type1()) return false;
    for (int y = 0; y < a.rows(); y++)
        if (std::memcmp(a.data.ptr[y], b.data.ptr[y], size_t(a.rowByteSize())) != 0) return false;
    return true;
}

void requireSame(const Mat& a, const Mat& b, const char* what) {
    if (sameBytes(a, b)) return;
    std::fprintf(stderr, "%s: vector path differs from scalar\n", what);
    std::abort();
}

}  // namespace bench
}  // namespace tarvo
