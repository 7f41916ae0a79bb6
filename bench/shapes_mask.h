// The fixed 1080p disc mask shared by the shapes benchmarks: 400 discs of
// radius 10 to 30 at seeded positions, every fourth with a hole of half its
// radius. Objects are 255, background 0.
#pragma once

#include <cstdint>

#include "tarvo/mat.h"

namespace bench {

inline tarvo::Mat shapesDiscMask(int rows = 1080, int cols = 1920, int discs = 400,
                                 uint32_t seed = 12345) {
    tarvo::Mat m(rows, cols, tarvo::MAT_Tuchar, tarvo::Point4_<double>(0.0));
    uint32_t s = seed;
    auto next = [&s]() {
        s = s * 1664525u + 1013904223u;
        return s >> 8;
    };
    for (int i = 0; i < discs; i++) {
        const int r = 10 + (int)(next() % 21);
        const int cx = (int)(next() % (uint32_t)cols), cy = (int)(next() % (uint32_t)rows);
        const int hole = (i % 4 == 3) ? r / 2 : -1;
        for (int y = cy - r; y <= cy + r; y++) {
            if (y < 0 || y >= rows) continue;
            unsigned char* row = m.ptr<unsigned char>(y);
            for (int x = cx - r; x <= cx + r; x++) {
                if (x < 0 || x >= cols) continue;
                const int d2 = (x - cx) * (x - cx) + (y - cy) * (y - cy);
                if (d2 <= r * r) row[x] = d2 <= hole * hole ? 0 : 255;
            }
        }
    }
    return m;
}

}  // namespace bench
