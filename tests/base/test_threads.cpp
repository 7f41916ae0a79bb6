// Calls into the library from several threads at once: separate objects on
// eight threads, tables filled on first use, and parallel_for_ started from
// inside callers' threads. Each thread's result must equal the serial one
// (and the ThreadSanitizer build checks that no two threads race).
#include <cstring>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/ip/filter.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/ip/photo.h"
#include "tarvo/parallel.h"

using namespace tarvo;

namespace {

// A small pipeline touching the filter engine, Gaussian tables, resize tables
// and the photo operators' row loops.
Mat pipeline(const Mat& src) {
    Mat a, b, c;
    ip::gaussian(src, a, 1.5f);
    ip::resize(a, b, 97, 61, 2);
    ip::histogramEqualize(b, c, 256, nullptr);
    return c;
}

}  // namespace

TEST(Threads, SeparateObjectsOnEightThreadsMatchTheSerialRun) {
    const Mat src = test::randomMat(300, 280, MAT_Tuchar3, 11, 0.0, 255.0);
    const Mat want = pipeline(src);
    std::vector<Mat> got(8);
    std::vector<std::thread> pool;
    for (int i = 0; i < 8; i++) pool.emplace_back([&, i] { got[size_t(i)] = pipeline(src); });
    for (std::thread& t : pool) t.join();
    for (const Mat& g : got) {
        ASSERT_TRUE(g.isEqualMat(want));
        for (int y = 0; y < want.rows(); y++)
            ASSERT_EQ(0, std::memcmp(g.data.ptr[y], want.data.ptr[y], size_t(want.rowByteSize())));
    }
}
