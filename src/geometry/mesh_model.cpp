// TriangleModel: the edge list of a mesh, the triangles it closes, and the two
// little-endian file forms (edge file, triangle list). Files are treated as
// hostile: every count is checked against the data still available before
// anything is allocated, and a refused file leaves the model as it was.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include "tarvo/ip/geometry.h"

namespace tarvo {

namespace {

// ---- little-endian int32 streams

void putInt32(unsigned char* p, int v) {
    const uint32_t u = (uint32_t)v;
    p[0] = (unsigned char)(u & 0xFF);
    p[1] = (unsigned char)((u >> 8) & 0xFF);
    p[2] = (unsigned char)((u >> 16) & 0xFF);
    p[3] = (unsigned char)(u >> 24);
}

int getInt32(const unsigned char* p) {
    const uint32_t u =
        (uint32_t)p[0] | ((uint32_t)p[1] << 8) | ((uint32_t)p[2] << 16) | ((uint32_t)p[3] << 24);
    int v;
    std::memcpy(&v, &u, 4);
    return v;
}

// A byte source over FILE* or XFile that knows, when it can, how many bytes
// remain. Reads go through bounded chunks so that a count the stream cannot
// back is found out before much memory is spent on it.
class Source {
public:
    explicit Source(FILE* f) : m_fp(f), m_xf(nullptr) {}
    explicit Source(XFile* f) : m_fp(nullptr), m_xf(f) {}

    bool read(void* buf, size_t bytes) {
        if (bytes == 0) return true;
        if (m_fp) return std::fread(buf, 1, bytes, m_fp) == bytes;
        size_t done = 0;
        unsigned char* p = static_cast<unsigned char*>(buf);
        while (done < bytes) {
            const size_t step = std::min<size_t>(bytes - done, 1u << 20);
            const size_t got = m_xf->read(p + done, 1, (unsigned)step);
            if (got != step) return false;
            done += step;
        }
        return true;
    }

    // Bytes left in the stream, or -1 when the stream cannot tell.
    long long remaining() {
        if (m_fp) {
            const long at = std::ftell(m_fp);
            if (at < 0 || std::fseek(m_fp, 0, SEEK_END) != 0) return -1;
            const long end = std::ftell(m_fp);
            if (std::fseek(m_fp, at, SEEK_SET) != 0 || end < 0) return -1;
            return end >= at ? (long long)end - at : 0;
        }
        const long size = m_xf->size(), at = m_xf->tell();
        if (size < 0 || at < 0) return -1;
        return size >= at ? (long long)size - at : 0;
    }

private:
    FILE* m_fp;
    XFile* m_xf;
};

// Reads a count followed by count records of `ints` int32 each into out.
// Refuses a short count, a negative count, a count beyond the data the stream
// still holds, a short record block and any negative value.
bool readRecords(Source& src, int ints, std::vector<int>& out) {
    unsigned char head[4];
    if (!src.read(head, 4)) return false;
    const int count = getInt32(head);
    if (count < 0) return false;
    const long long bytes = (long long)count * ints * 4;
    const long long left = src.remaining();
    if (left >= 0 && bytes > left) return false;
    // Unknown length: grow in chunks of at most 1 MiB as the data arrives.
    const size_t chunk = size_t(1) << 20;
    std::vector<unsigned char> raw;
    size_t have = 0;
    while (have < (size_t)bytes) {
        const size_t step =
            std::min<size_t>((size_t)bytes - have, left >= 0 ? (size_t)bytes : chunk);
        raw.resize(have + step);
        if (!src.read(raw.data() + have, step)) return false;
        have += step;
    }
    out.resize((size_t)count * ints);
    for (size_t i = 0; i < out.size(); i++) {
        out[i] = getInt32(&raw[i * 4]);
        if (out[i] < 0) return false;
    }
    return true;
}

bool writeRecords(FILE* file, int count, const int* values, size_t n) {
    unsigned char buf[4096];
    putInt32(buf, count);
    if (std::fwrite(buf, 1, 4, file) != 4) return false;
    size_t i = 0;
    while (i < n) {
        const size_t take = std::min<size_t>(n - i, sizeof(buf) / 4);
        for (size_t k = 0; k < take; k++) putInt32(buf + 4 * k, values[i + k]);
        if (std::fwrite(buf, 4, take, file) != take) return false;
        i += take;
    }
    return std::fflush(file) == 0;
}

}  // namespace

// ---------------------------------------------------------------- TriangleList

TriangleModel::TriangleList::TriangleList(const TriangleList& other)
    : Array<Triangle*>(), m_borrowed(false) {
    *this = other;
}

TriangleModel::TriangleList& TriangleModel::TriangleList::operator=(const TriangleList& other) {
    if (&other == this) return *this;
    removeAllTriangle();
    for (int i = 0; i < other.getSize(); i++) {
        Triangle* t = other[i] ? new (std::nothrow) Triangle(*other[i]) : nullptr;
        if (other[i] && !t) break;
        add(t);
    }
    return *this;
}

TriangleModel::TriangleList::~TriangleList() {
    removeAllTriangle();
}

int TriangleModel::TriangleList::findTriangle(int a, int b, int c) const {
    int want[3] = {a, b, c};
    std::sort(want, want + 3);
    for (int i = 0; i < getSize(); i++) {
        const Triangle* t = (*this)[i];
        if (!t) continue;
        int have[3] = {t->index[0], t->index[1], t->index[2]};
        std::sort(have, have + 3);
        if (have[0] == want[0] && have[1] == want[1] && have[2] == want[2]) return 1;
    }
    return 0;
}

void TriangleModel::TriangleList::removeAllTriangle() {
    if (!m_borrowed)
        for (int i = 0; i < getSize(); i++) delete (*this)[i];
    removeAll();
    m_borrowed = false;
}

// ---------------------------------------------------------------- TriangleModel

TriangleModel::TriangleModel() : edges(nullptr), edgeCount(0) {}

TriangleModel::TriangleModel(const TriangleModel& other) : edges(nullptr), edgeCount(0) {
    *this = other;
}

TriangleModel& TriangleModel::operator=(const TriangleModel& other) {
    if (&other == this) return *this;
    const int n = other.edges ? std::max(other.edgeCount, 0) : 0;
    Edge* copy = nullptr;
    if (n > 0) {
        copy = new (std::nothrow) Edge[n];
        if (!copy) return *this;
        std::memcpy(copy, other.edges, sizeof(Edge) * (size_t)n);
    }
    adoptEdges(copy, n);
    triangleList = other.triangleList;
    return *this;
}

TriangleModel::~TriangleModel() {
    delete[] edges;
}

int TriangleModel::adoptEdges(Edge* e, int count) {
    delete[] edges;
    edges = e;
    edgeCount = e ? count : 0;
    return 1;
}

int TriangleModel::create(int count) {
    if (count < 0) return 0;
    Edge* e = nullptr;
    if (count > 0) {
        e = new (std::nothrow) Edge[count]();
        if (!e) return 0;
    }
    return adoptEdges(e, count);
}

void TriangleModel::release() {
    adoptEdges(nullptr, 0);
    triangleList.removeAllTriangle();
}

int TriangleModel::findEdge(int a, int b) const {
    if (!edges) return 0;
    for (int i = 0; i < edgeCount; i++)
        if ((edges[i].a == a && edges[i].b == b) || (edges[i].a == b && edges[i].b == a)) return 1;
    return 0;
}

// The triangles come out as if every point p from 0 to the largest index were
// visited in turn, its neighbours gathered in edge order without repeats, and
// every joined pair (i < j) of them not yet in a triangle with p added as
// (p, n_i, n_j). A triangle is first met at its lowest point, so a pair makes
// a new triangle exactly when both neighbours are above p. Only points that
// occur are visited, neighbour lists are built once, and a joined pair is
// found by walking the shorter of (the neighbours of n_i, the rest of p's
// upper neighbours): the work stays near edges^1.5 whatever the indices.
void TriangleModel::generateTriangles() {
    triangleList.removeAllTriangle();
    const int n = edges ? edgeCount : 0;
    if (n <= 0) return;

    // Usable edges as dense point ids (ids ascend with the point index).
    std::vector<int> ends;
    ends.reserve((size_t)n * 2);
    int maxIndex = -1;
    for (int i = 0; i < n; i++) {
        const Edge& e = edges[i];
        if (e.a < 0 || e.b < 0 || e.a == e.b) continue;
        ends.push_back(e.a);
        ends.push_back(e.b);
        maxIndex = std::max(maxIndex, std::max(e.a, e.b));
    }
    if (ends.empty()) return;
    const size_t m = ends.size() / 2;
    std::vector<int> points;  // id -> point index
    std::vector<int> ids(ends.size());
    if ((long long)maxIndex < 4 * (long long)ends.size() + 64) {
        // Small indices: a direct table.
        std::vector<int> table((size_t)maxIndex + 1, -1);
        for (int v : ends) table[(size_t)v] = 0;
        for (size_t v = 0; v < table.size(); v++)
            if (table[v] == 0) {
                table[v] = (int)points.size();
                points.push_back((int)v);
            }
        for (size_t k = 0; k < ends.size(); k++) ids[k] = table[(size_t)ends[k]];
    } else {
        points = ends;
        std::sort(points.begin(), points.end());
        points.erase(std::unique(points.begin(), points.end()), points.end());
        for (size_t k = 0; k < ends.size(); k++)
            ids[k] =
                (int)(std::lower_bound(points.begin(), points.end(), ends[k]) - points.begin());
    }
    const size_t V = points.size();

    // Neighbour lists in edge order, repeats dropped.
    std::vector<int> start(V + 1, 0);
    for (int id : ids) start[(size_t)id + 1]++;
    for (size_t v = 0; v < V; v++) start[v + 1] += start[v];
    std::vector<int> adj((size_t)start[V]);
    {
        std::vector<int> fill(start.begin(), start.end() - 1);
        for (size_t e = 0; e < m; e++) {
            const int u = ids[2 * e], w = ids[2 * e + 1];
            adj[(size_t)fill[(size_t)u]++] = w;
            adj[(size_t)fill[(size_t)w]++] = u;
        }
    }
    std::vector<int> degree(V), stamp(V, -1), pos(V, 0);
    for (size_t v = 0; v < V; v++) {
        int out = start[v];
        for (int k = start[v]; k < start[v + 1]; k++) {
            const int w = adj[(size_t)k];
            if (stamp[(size_t)w] == (int)v) continue;
            stamp[(size_t)w] = (int)v;
            adj[(size_t)out++] = w;
        }
        degree[v] = out - start[v];
    }
    // Joined pairs for the direct test, as (low id, high id) keys.
    std::vector<uint64_t> keys(m);
    for (size_t e = 0; e < m; e++) {
        const uint32_t u = (uint32_t)ids[2 * e], w = (uint32_t)ids[2 * e + 1];
        keys[e] = u < w ? ((uint64_t)u << 32 | w) : ((uint64_t)w << 32 | u);
    }
    std::sort(keys.begin(), keys.end());
    auto joined = [&keys](int u, int w) {
        const uint64_t k = u < w ? ((uint64_t)(uint32_t)u << 32 | (uint32_t)w)
                                 : ((uint64_t)(uint32_t)w << 32 | (uint32_t)u);
        return std::binary_search(keys.begin(), keys.end(), k);
    };

    std::fill(stamp.begin(), stamp.end(), -1);
    std::vector<int> upper, hits;
    for (size_t p = 0; p < V; p++) {
        upper.clear();
        for (int k = start[p]; k < start[p] + degree[p]; k++)
            if ((size_t)adj[(size_t)k] > p) upper.push_back(adj[(size_t)k]);
        const int u = (int)upper.size();
        for (int k = 0; k < u; k++) {
            stamp[(size_t)upper[(size_t)k]] = (int)p;
            pos[(size_t)upper[(size_t)k]] = k;
        }
        for (int i = 0; i + 1 < u; i++) {
            const int ni = upper[(size_t)i];
            hits.clear();
            if (degree[(size_t)ni] < u - 1 - i) {
                const int s = start[(size_t)ni];
                for (int k = s; k < s + degree[(size_t)ni]; k++) {
                    const int w = adj[(size_t)k];
                    if (stamp[(size_t)w] == (int)p && pos[(size_t)w] > i)
                        hits.push_back(pos[(size_t)w]);
                }
                std::sort(hits.begin(), hits.end());
            } else {
                for (int j = i + 1; j < u; j++)
                    if (joined(ni, upper[(size_t)j])) hits.push_back(j);
            }
            for (int j : hits) {
                Triangle* t = new (std::nothrow)
                    Triangle(points[p], points[(size_t)ni], points[(size_t)upper[(size_t)j]]);
                if (!t) return;
                triangleList.add(t);
            }
        }
    }
}

void TriangleModel::adjacentTriangles(int point, TriangleList* out) {
    if (!out || out == &triangleList) return;
    out->removeAllTriangle();
    out->m_borrowed = true;
    for (int i = 0; i < triangleList.getSize(); i++) {
        Triangle* t = triangleList[i];
        if (t && (t->index[0] == point || t->index[1] == point || t->index[2] == point))
            out->add(t);
    }
}

// ---- files

int TriangleModel::Save(FILE* file) const {
    if (!file) return 0;
    const int n = edges ? std::max(edgeCount, 0) : 0;
    std::vector<int> values((size_t)n * 2);
    for (int i = 0; i < n; i++) {
        values[(size_t)i * 2] = edges[i].a;
        values[(size_t)i * 2 + 1] = edges[i].b;
    }
    return writeRecords(file, n, values.data(), values.size()) ? 1 : 0;
}

int TriangleModel::load(FILE* file) {
    if (!file) return 0;
    Source src(file);
    std::vector<int> values;
    if (!readRecords(src, 2, values)) return 0;
    const int n = (int)(values.size() / 2);
    Edge* e = nullptr;
    if (n > 0) {
        e = new (std::nothrow) Edge[n];
        if (!e) return 0;
        for (int i = 0; i < n; i++) e[i] = Edge{values[(size_t)i * 2], values[(size_t)i * 2 + 1]};
    }
    adoptEdges(e, n);
    generateTriangles();
    return 1;
}

int TriangleModel::saveTriangleList(FILE* file) const {
    if (!file) return 0;
    std::vector<int> values;
    values.reserve((size_t)triangleList.getSize() * 3);
    for (int i = 0; i < triangleList.getSize(); i++) {
        const Triangle* t = triangleList[i];
        if (!t) continue;
        values.insert(values.end(), t->index, t->index + 3);
    }
    return writeRecords(file, (int)(values.size() / 3), values.data(), values.size()) ? 1 : 0;
}

namespace {

bool appendTriangles(TriangleModel::TriangleList& list, const std::vector<int>& values) {
    const size_t m = values.size() / 3;
    std::vector<Triangle*> made;
    made.reserve(m);
    for (size_t i = 0; i < m; i++) {
        Triangle* t =
            new (std::nothrow) Triangle(values[3 * i], values[3 * i + 1], values[3 * i + 2]);
        if (!t) {
            for (Triangle* d : made) delete d;
            return false;
        }
        made.push_back(t);
    }
    const int before = list.getSize();
    if (!made.empty() && list.append(made.data(), (int)made.size()) == before &&
        list.getSize() == before) {
        for (Triangle* d : made) delete d;
        return false;
    }
    return true;
}

}  // namespace

int TriangleModel::loadTriangleList(FILE* file) {
    if (!file) return 0;
    Source src(file);
    std::vector<int> values;
    if (!readRecords(src, 3, values) || !appendTriangles(triangleList, values)) return 0;
    adoptEdges(nullptr, 0);
    return 1;
}

int TriangleModel::loadTriangleList(XFile* file) {
    if (!file) return 0;
    Source src(file);
    std::vector<int> values;
    if (!readRecords(src, 3, values) || !appendTriangles(triangleList, values)) return 0;
    adoptEdges(nullptr, 0);
    return 1;
}

}  // namespace tarvo
