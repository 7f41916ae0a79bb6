// libFuzzer harness for mesh files: every input is read as an edge file and
// as a triangle list, through a C stream and through memory streams with and
// without a known length; what loads is turned into triangles, walked for
// adjacency, written back, and warped with points taken from the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <algorithm>
#include <vector>

#include "tarvo/ip/geometry.h"

namespace {

class UnsizedMem : public tarvo::XFileMem {
public:
    UnsizedMem(unsigned char* buf, unsigned size) : tarvo::XFileMem(buf, size) {}
    long size() override { return -1; }
};

int maxIndex(const tarvo::TriangleModel& m) {
    int hi = -1;
    for (int i = 0; i < m.edgeCount; i++) hi = std::max(hi, std::max(m.edges[i].a, m.edges[i].b));
    for (int i = 0; i < m.triangleList.getSize(); i++)
        for (int k = 0; k < 3; k++) hi = std::max(hi, m.triangleList[i]->index[k]);
    return hi;
}

void exercise(tarvo::TriangleModel& m, const std::vector<unsigned char>& bytes) {
    tarvo::TriangleModel::TriangleList around;
    for (int p = -1; p < 4; p++) m.adjacentTriangles(p, &around);
    if (m.triangleList.getSize() > 0) m.adjacentTriangles(m.triangleList[0]->index[1], &around);
    char* text = nullptr;
    size_t len = 0;
    if (FILE* out = open_memstream(&text, &len)) {
        m.Save(out);
        m.saveTriangleList(out);
        std::fclose(out);
    }
    std::free(text);
    // Small meshes are warped with corners read from the input bytes as
    // floats, so NaN, infinities and huge values reach the warps too.
    const int hi = maxIndex(m);
    if (hi < 0 || hi >= 64) return;
    std::vector<tarvo::Point2_<float>> sp((size_t)hi + 1), dp((size_t)hi + 1);
    for (size_t i = 0; i < sp.size(); i++) {
        float v[4] = {0, 0, 0, 0};
        const size_t at = (i * 16) % (bytes.size() + 1);
        std::memcpy(v, bytes.data() + at, std::min<size_t>(16, bytes.size() - at));
        sp[i] = tarvo::Point2_<float>(v[0], v[1]);
        dp[i] = tarvo::Point2_<float>(v[2], v[3]);
    }
    tarvo::Mat src(17, 23, tarvo::MAT_Tuchar | (2 << 3), tarvo::Point4_<double>(9, 99, 199, 0)),
        dst;
    tarvo::Rect_<int> box;
    tarvo::ip::warpMesh(src, dst, box, sp.data(), dp.data(), &m);
    tarvo::ip::warping(src, dst, &box, sp.data(), dp.data(), &m);
    tarvo::Array<tarvo::Point2_<float>> st, dt;
    for (int k = 0; k < 3 && k <= hi; k++) {
        st.add(sp[(size_t)k]);
        dt.add(dp[(size_t)k]);
    }
    tarvo::ip::warpTriangle(src, dst, st, dt);
}

}  // namespace

// The harness carries its own instrumented copy of the mesh code, which also
// sits in the linked library: the two copies come from the same source, so
// the sanitizer's one-definition check would only report that on purpose.
extern "C" const char* __asan_default_options() {
    return "detect_odr_violation=0";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > (1u << 20)) return 0;
    std::vector<unsigned char> copy(data, data + size);
    copy.push_back(0);  // fmemopen and the memory streams need a non-null block
    {
        tarvo::TriangleModel m;
        if (FILE* f = fmemopen(copy.data(), size ? size : 1, "rb")) {
            if (size == 0) std::fgetc(f);
            if (m.load(f)) exercise(m, copy);
            std::fclose(f);
        }
        m.generateTriangles();
    }
    {
        tarvo::TriangleModel m;
        if (FILE* f = fmemopen(copy.data(), size ? size : 1, "rb")) {
            if (size == 0) std::fgetc(f);
            if (m.loadTriangleList(f)) exercise(m, copy);
            std::fclose(f);
        }
    }
    {
        tarvo::TriangleModel m;
        tarvo::XFileMem in(copy.data(), unsigned(size));
        if (m.loadTriangleList(&in)) exercise(m, copy);
        UnsizedMem blind(copy.data(), unsigned(size));
        tarvo::TriangleModel copyOfM(m);
        if (copyOfM.loadTriangleList(&blind)) exercise(copyOfM, copy);
        copyOfM.generateTriangles();
    }
    return 0;
}
