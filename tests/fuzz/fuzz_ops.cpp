// Driver of the operator fuzzer: one registered operation per input, chosen
// by the first byte; the rest of the input feeds its shapes and parameters.
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "fuzz/fuzz_ops.h"
#include "tarvo/parallel.h"

namespace fuzz {

namespace {
std::vector<FuzzOp>& registry() {
    static std::vector<FuzzOp> ops;
    return ops;
}
const char* g_current = "";
// The results recorded in the current run (shape and bytes), or null when
// the run is not being compared.
struct Result {
    int rows = 0, cols = 0, type = 0;
    std::vector<unsigned char> bytes;
};
std::vector<Result>* g_results = nullptr;
}  // namespace

FuzzRegistrar::FuzzRegistrar(const FuzzOp* ops, size_t n) {
    for (size_t i = 0; i < n; i++) registry().push_back(ops[i]);
}

int FuzzInput::range(int lo, int hi) {
    if (hi <= lo) return lo;
    const uint32_t span = uint32_t(hi - lo) + 1;
    uint32_t v = byte();
    if (span > 256) v = (v << 8) | byte();
    return lo + int(v % span);
}

int FuzzInput::hostileInt(int smallLo, int smallHi) {
    static const int kHostile[] = {0, -1, 1, INT_MIN, INT_MAX, INT_MAX / 2 + 1, -65536, 1 << 20};
    if (byte() < 232) return range(smallLo, smallHi);
    return kHostile[byte() % 8];
}

int FuzzInput::refusedOrSmall(int smallLo, int smallHi) {
    static const int kRefused[] = {-1, INT_MIN, INT_MAX};
    if (byte() < 240) return range(smallLo, smallHi);
    return kRefused[byte() % 3];
}

double FuzzInput::hostileDouble(double lo, double hi) {
    static const double kHostile[] = {std::numeric_limits<double>::quiet_NaN(),
                                      std::numeric_limits<double>::infinity(),
                                      -std::numeric_limits<double>::infinity(),
                                      1e300,
                                      -1e300,
                                      1e-300,
                                      0.0,
                                      -0.0};
    if (byte() < 232) return lo + (hi - lo) * (range(0, 65535) / 65535.0);
    return kHostile[byte() % 8];
}

tarvo::Mat FuzzInput::mat(int depth, int cn) {
    const int rows = range(0, 70), cols = range(0, 70);
    if (depth <= 0) depth = range(1, 5);
    if (cn <= 0) cn = range(1, 4);
    tarvo::Mat m;
    if (rows == 0 || cols == 0) return m;
    if (m.create(rows, cols, tarvo::MAKETYPE(depth, cn)) < 0) return m;
    // Pixels from the input, repeated when it runs short; floats stay finite
    // most of the time so that arithmetic paths are exercised.
    const size_t rb = size_t(m.rowByteSize());
    const uint8_t seed = byte();
    for (int y = 0; y < rows; y++) {
        unsigned char* r = m.data.ptr[y];
        for (size_t i = 0; i < rb; i++) r[i] = uint8_t(i_ < n_ ? p_[i_++] : seed + i * 31 + y);
    }
    if (depth >= tarvo::MAT_Tfloat && !(seed & 0x80)) {
        for (int y = 0; y < rows; y++)
            for (int x = 0; x < cols * cn; x++) {
                if (depth == tarvo::MAT_Tfloat) {
                    float& v = m.ptr<float>(y)[x];
                    if (!std::isfinite(v) || std::fabs(v) > 1e6f) v = float((x * 7 + y) % 256);
                } else {
                    double& v = m.ptr<double>(y)[x];
                    if (!std::isfinite(v) || std::fabs(v) > 1e6) v = double((x * 7 + y) % 256);
                }
            }
    }
    return m;
}

bool sameBytes(const tarvo::Mat& a, const tarvo::Mat& b) {
    if (a.empty() != b.empty()) return false;
    if (a.empty()) return true;
    if (a.rows() != b.rows() || a.cols() != b.cols() || a.type1() != b.type1()) return false;
    const size_t rb = size_t(a.rowByteSize());
    for (int y = 0; y < a.rows(); y++)
        if (std::memcmp(a.data.ptr[y], b.data.ptr[y], rb) != 0) return false;
    return true;
}

void touch(const tarvo::Mat& m) {
    Result r;
    volatile unsigned sum = 0;
    if (!m.empty()) {
        r.rows = m.rows(), r.cols = m.cols(), r.type = m.type1();
        const size_t rb = size_t(m.rowByteSize());
        for (int y = 0; y < m.rows(); y++) {
            for (size_t i = 0; i < rb; i++) sum = sum + m.data.ptr[y][i];
            if (g_results) r.bytes.insert(r.bytes.end(), m.data.ptr[y], m.data.ptr[y] + rb);
        }
    }
    if (g_results) g_results->push_back(std::move(r));
}

void observe(const void* bytes, size_t n) {
    if (!g_results) return;
    const unsigned char* p = static_cast<const unsigned char*>(bytes);
    Result r;
    r.rows = 1, r.cols = int(n);
    r.bytes.assign(p, p + n);
    g_results->push_back(std::move(r));
}

void fail(const char* what) {
    std::fprintf(stderr, "fuzz_ops: %s: %s\n", g_current, what);
    std::abort();
}

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto& ops = fuzz::registry();
    if (ops.empty() || size < 2) return 0;
    // Two bytes choose the operation, so the tables can grow past 256 entries.
    const size_t pick = ((size_t(data[0]) << 8) | data[1]) % ops.size();
    fuzz::g_current = ops[pick].name;
    // Once per fill byte for fresh pixel blocks (in builds with the debug
    // fill): every recorded result must come out the same, or some call
    // returned bytes it never wrote.
    static const bool fillMode = tarvo::detail::setFreshFill(0x00);
    if (!fillMode) {
        fuzz::FuzzInput in(data + 2, size - 2);
        ops[pick].run(in);
        return 0;
    }
    std::vector<fuzz::Result> results[2];
    const int fills[2] = {0x00, 0xA5};
    for (int k = 0; k < 2; k++) {
        tarvo::detail::setFreshFill(fills[k]);
        fuzz::g_results = &results[k];
        fuzz::FuzzInput in(data + 2, size - 2);
        ops[pick].run(in);
    }
    fuzz::g_results = nullptr;
    if (results[0].size() != results[1].size())
        fuzz::fail("a different number of results with another fill of fresh blocks");
    for (size_t i = 0; i < results[0].size(); i++) {
        const fuzz::Result &a = results[0][i], &b = results[1][i];
        if (a.rows == b.rows && a.cols == b.cols && a.type == b.type && a.bytes == b.bytes)
            continue;
        size_t at = 0;
        while (at < a.bytes.size() && at < b.bytes.size() && a.bytes[at] == b.bytes[at]) at++;
        std::fprintf(stderr,
                     "fuzz_ops: result %zu of %zu: %d x %d type %d / %d x %d type %d, "
                     "first difference at byte %zu of %zu\n",
                     i + 1, results[0].size(), a.rows, a.cols, a.type, b.rows, b.cols, b.type, at,
                     a.bytes.size());
        fuzz::fail("a result holds bytes no call wrote (it follows the fill of fresh blocks)");
    }
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // One thread: results must not depend on it, and findings replay exactly.
    tarvo::setNumThreads(1);
    if (std::getenv("TARVO_FUZZ_LIST")) {
        for (const auto& op : fuzz::registry()) std::printf("%s\n", op.name);
    }
    return 0;
}
