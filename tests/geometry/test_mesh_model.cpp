// TriangleModel: triangles from edges (hand cases and a literal slow version
// on random meshes), adjacency, deep copies, and both file forms with hostile
// inputs through seekable files, pipes and memory streams.
#include <gtest/gtest.h>

#include <unistd.h>

#include <array>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <random>
#include <vector>

#include "support/naive_mesh.h"
#include "tarvo/ip/geometry.h"

using namespace tarvo;
typedef TriangleModel::Edge Edge;

namespace {

TriangleModel modelOf(const std::vector<Edge>& e) {
    TriangleModel m;
    EXPECT_EQ(m.create((int)e.size()), 1);
    for (size_t i = 0; i < e.size(); i++) m.edges[i] = e[i];
    m.generateTriangles();
    return m;
}

std::vector<std::array<int, 3>> trianglesOf(const TriangleModel& m) {
    std::vector<std::array<int, 3>> out;
    for (int i = 0; i < m.triangleList.getSize(); i++) {
        const Triangle* t = m.triangleList[i];
        out.push_back({t->index[0], t->index[1], t->index[2]});
    }
    return out;
}

const std::vector<Edge> kSquare = {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 2}};

// Little-endian int32 words as bytes.
std::vector<unsigned char> bytesOf(const std::vector<int>& words) {
    std::vector<unsigned char> b;
    for (int w : words) {
        const uint32_t u = (uint32_t)w;
        for (int k = 0; k < 4; k++) b.push_back((unsigned char)(u >> (8 * k)));
    }
    return b;
}

// A seekable temporary file holding the bytes, positioned at the start.
FILE* fileOf(const std::vector<unsigned char>& b) {
    FILE* f = std::tmpfile();
    if (!f) return nullptr;
    if (!b.empty()) std::fwrite(b.data(), 1, b.size(), f);
    std::rewind(f);
    return f;
}

// The read end of a pipe that carries the bytes (small inputs only), so the
// reader cannot learn the length in advance.
FILE* pipeOf(const std::vector<unsigned char>& b) {
    int fd[2];
    if (pipe(fd) != 0) return nullptr;
    if (!b.empty() && write(fd[1], b.data(), b.size()) != (ssize_t)b.size()) return nullptr;
    close(fd[1]);
    return fdopen(fd[0], "rb");
}

class UnsizedMem : public XFileMem {
public:
    UnsizedMem(unsigned char* p, unsigned n) : XFileMem(p, n) {}
    long size() override { return -1; }
};

}  // namespace

TEST(MeshModel, SquareWithDiagonalAndLookups) {
    TriangleModel m = modelOf(kSquare);
    const std::vector<std::array<int, 3>> want = {{0, 1, 2}, {0, 3, 2}};
    EXPECT_EQ(trianglesOf(m), want);
    EXPECT_EQ(m.triangleList.findTriangle(2, 1, 0), 1);
    EXPECT_EQ(m.triangleList.findTriangle(0, 2, 3), 1);
    EXPECT_EQ(m.triangleList.findTriangle(1, 2, 3), 0);
    TriangleModel::TriangleList empty;
    EXPECT_EQ(empty.findTriangle(0, 1, 2), 0);

    // out is cleared first: a triangle of its own is freed, not kept.
    TriangleModel::TriangleList out;
    out.add(new Triangle(7, 8, 9));
    m.adjacentTriangles(0, &out);
    EXPECT_EQ(out.getSize(), 2);
    EXPECT_TRUE(out.isBorrowed());
    EXPECT_EQ(out.findTriangle(7, 8, 9), 0);
    m.adjacentTriangles(1, &out);
    ASSERT_EQ(out.getSize(), 1);
    EXPECT_EQ(out[0], m.triangleList[0]);  // borrowed, not copied
    m.adjacentTriangles(5, &out);
    EXPECT_EQ(out.getSize(), 0);
    // The model's own list and a null list are refused.
    m.adjacentTriangles(0, &m.triangleList);
    m.adjacentTriangles(0, nullptr);
    EXPECT_EQ(m.triangleList.getSize(), 2);
    m.adjacentTriangles(2, &out);
    // out goes out of scope before m: it must not free the model's triangles
    // (the sanitizer build catches a double free).
}

TEST(MeshModel, CreateCopyAndRelease) {
    TriangleModel m = modelOf(kSquare);
    EXPECT_EQ(m.create(-1), 0);
    EXPECT_EQ(m.edgeCount, 5);
    TriangleModel copy(m), assigned;
    assigned = m;
    m.edges[0].a = 3;
    m.triangleList[0]->index[0] = 42;
    m.release();
    EXPECT_EQ(m.edgeCount, 0);
    EXPECT_EQ(m.edges, nullptr);
    EXPECT_EQ(m.triangleList.getSize(), 0);
    for (TriangleModel* c : {&copy, &assigned}) {
        EXPECT_EQ(c->edgeCount, 5);
        EXPECT_EQ(c->edges[0].a, 0);
        EXPECT_EQ(trianglesOf(*c), (std::vector<std::array<int, 3>>{{0, 1, 2}, {0, 3, 2}}));
    }
    // A copied list owns its triangles even when the original borrowed them.
    TriangleModel::TriangleList borrowed;
    copy.adjacentTriangles(0, &borrowed);
    TriangleModel::TriangleList owned(borrowed);
    EXPECT_FALSE(owned.isBorrowed());
    EXPECT_NE(owned[0], borrowed[0]);
    EXPECT_EQ(m.create(0), 1);
    m.generateTriangles();
    EXPECT_EQ(m.triangleList.getSize(), 0);
}

TEST(MeshModel, UnusableEdgesMakeNoTriangles) {
    // Self-edges, negative indices and a point at INT_MAX (which would make
    // a scan over every point index hang) next to a real triangle.
    TriangleModel m = modelOf({{5, 5},
                               {-1, 2},
                               {0, INT_MAX},
                               {INT_MAX, 1},
                               {0, 1},
                               {1, 1},
                               {2, 0},
                               {1, 2},
                               {-3, -3},
                               {2, 1}});
    EXPECT_EQ(trianglesOf(m), (std::vector<std::array<int, 3>>{{0, INT_MAX, 1}, {0, 1, 2}}));
    TriangleModel none = modelOf({{3, 3}, {-1, -2}});
    EXPECT_EQ(none.triangleList.getSize(), 0);
}

TEST(MeshModel, MatchesLiteralVersionOnRandomMeshes) {
    std::mt19937 rng(7);
    for (int round = 0; round < 40; round++) {
        const int points = 3 + (int)(rng() % 25), count = (int)(rng() % 90);
        std::vector<Edge> e((size_t)count);
        for (Edge& x : e) {
            x.a = (int)(rng() % points);
            x.b = (int)(rng() % points);
            if (rng() % 40 == 0) x.a = -x.a - 1;
        }
        // Some rounds use sparse, huge indices to reach the sorted-id path.
        if (round % 4 == 3)
            for (Edge& x : e) {
                if (x.a >= 0) x.a = x.a * 50000000 + 3;
                if (x.b >= 0) x.b = x.b * 50000000 + 3;
            }
        TriangleModel m = modelOf(e);
        if (round % 4 == 3) {
            // The literal scan cannot visit a billion points: compare on ranks.
            std::vector<Edge> r = e;
            for (Edge& x : r) {
                if (x.a >= 0) x.a = (x.a - 3) / 50000000;
                if (x.b >= 0) x.b = (x.b - 3) / 50000000;
            }
            std::vector<std::array<int, 3>> want = test::naiveTriangles(r.data(), count);
            for (auto& t : want)
                for (int& v : t) v = v * 50000000 + 3;
            EXPECT_EQ(trianglesOf(m), want) << "round " << round;
        } else {
            EXPECT_EQ(trianglesOf(m), test::naiveTriangles(e.data(), count)) << "round " << round;
        }
    }
}

TEST(MeshModel, EdgeFileRoundTripAndRefusals) {
    TriangleModel m = modelOf(kSquare);
    FILE* f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(m.Save(f), 1);
    std::rewind(f);
    TriangleModel back;
    ASSERT_EQ(back.load(f), 1);
    std::fclose(f);
    ASSERT_EQ(back.edgeCount, 5);
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(back.edges[i].a, kSquare[(size_t)i].a);
        EXPECT_EQ(back.edges[i].b, kSquare[(size_t)i].b);
    }
    EXPECT_EQ(trianglesOf(back), trianglesOf(m));

    // The exact bytes: count then pairs, little-endian.
    const std::vector<unsigned char> good = bytesOf({2, 0, 1, 1, 2});
    f = fileOf({});
    TriangleModel two = modelOf({{0, 1}, {1, 2}});
    ASSERT_EQ(two.Save(f), 1);
    std::rewind(f);
    std::vector<unsigned char> written(64);
    written.resize(std::fread(written.data(), 1, written.size(), f));
    std::fclose(f);
    EXPECT_EQ(written, good);

    EXPECT_EQ(m.Save(nullptr), 0);
    if (FILE* full = std::fopen("/dev/full", "wb")) {
        EXPECT_EQ(m.Save(full), 0);
        std::fclose(full);
    }

    // Count 0 loads and makes no triangles.
    TriangleModel zero = modelOf(kSquare);
    f = fileOf(bytesOf({0}));
    EXPECT_EQ(zero.load(f), 1);
    std::fclose(f);
    EXPECT_EQ(zero.edgeCount, 0);
    EXPECT_EQ(zero.triangleList.getSize(), 0);

    const std::vector<std::vector<unsigned char>> bad = {
        {},                         // no count
        {1, 0},                     // cut inside the count
        bytesOf({2, 0, 1, 1}),      // cut inside the pairs
        bytesOf({1000000, 0, 1}),   // count beyond the file
        bytesOf({INT_MAX}),         // 8n beyond any file
        bytesOf({-1, 0, 1}),        // negative count
        bytesOf({2, 0, 1, -5, 2}),  // negative index
    };
    for (size_t i = 0; i < bad.size(); i++) {
        for (int viaPipe = 0; viaPipe < 2; viaPipe++) {
            TriangleModel keep = modelOf(kSquare);
            FILE* in = viaPipe ? pipeOf(bad[i]) : fileOf(bad[i]);
            ASSERT_NE(in, nullptr);
            EXPECT_EQ(keep.load(in), 0) << "case " << i << " pipe " << viaPipe;
            std::fclose(in);
            EXPECT_EQ(keep.edgeCount, 5);
            EXPECT_EQ(keep.triangleList.getSize(), 2);
        }
    }
    FILE* p = pipeOf(good);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(back.load(p), 1);
    std::fclose(p);
    EXPECT_EQ(back.edgeCount, 2);
    EXPECT_EQ(back.load((FILE*)nullptr), 0);
}

TEST(MeshModel, TriangleListFiles) {
    TriangleModel m = modelOf(kSquare);
    FILE* f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(m.saveTriangleList(f), 1);
    std::rewind(f);
    // Loading appends to what is there and drops the edges.
    TriangleModel back = modelOf({{4, 5}, {5, 6}, {6, 4}});
    ASSERT_EQ(back.loadTriangleList(f), 1);
    std::fclose(f);
    EXPECT_EQ(back.edgeCount, 0);
    EXPECT_EQ(back.edges, nullptr);
    EXPECT_EQ(trianglesOf(back),
              (std::vector<std::array<int, 3>>{{4, 5, 6}, {0, 1, 2}, {0, 3, 2}}));
    back.generateTriangles();
    EXPECT_EQ(back.triangleList.getSize(), 0);
    EXPECT_EQ(m.saveTriangleList(nullptr), 0);

    // Memory streams, with and without a known length.
    std::vector<unsigned char> good = bytesOf({2, 0, 1, 2, 2, 3, 0});
    for (int unsized = 0; unsized < 2; unsized++) {
        TriangleModel t;
        XFileMem sized(good.data(), (unsigned)good.size());
        UnsizedMem blind(good.data(), (unsigned)good.size());
        ASSERT_EQ(t.loadTriangleList(unsized ? (XFile*)&blind : &sized), 1);
        EXPECT_EQ(trianglesOf(t), (std::vector<std::array<int, 3>>{{0, 1, 2}, {2, 3, 0}}));
    }
    std::vector<std::vector<unsigned char>> bad = {{},
                                                   bytesOf({2, 0, 1, 2, 2, 3}),
                                                   bytesOf({0x20000000}),
                                                   bytesOf({-2}),
                                                   bytesOf({1, 0, -1, 2})};
    for (size_t i = 0; i < bad.size(); i++) {
        for (int way = 0; way < 3; way++) {
            TriangleModel keep = modelOf(kSquare);
            std::vector<unsigned char> b = bad[i];
            b.push_back(0);  // a non-null block even for the empty case
            const unsigned n = (unsigned)bad[i].size();
            XFileMem sized(b.data(), n);
            UnsizedMem blind(b.data(), n);
            FILE* fp = way == 0 ? fileOf(bad[i]) : nullptr;
            const int r = way == 0   ? keep.loadTriangleList(fp)
                          : way == 1 ? keep.loadTriangleList(&sized)
                                     : keep.loadTriangleList(&blind);
            if (fp) std::fclose(fp);
            EXPECT_EQ(r, 0) << "case " << i << " way " << way;
            EXPECT_EQ(keep.edgeCount, 5);
            EXPECT_EQ(keep.triangleList.getSize(), 2);
        }
    }
    TriangleModel t;
    EXPECT_EQ(t.loadTriangleList((XFile*)nullptr), 0);
}
