// Slow references for the edge chains and Hough transforms.
#pragma once

#include <vector>

#include "tarvo/ip/edges.h"

namespace tarvo {
namespace test {

// Chain following written as the plain recursion: same visiting order,
// marks, pushes and flushes. Returns the chains as lists of (x, y) pairs.
std::vector<std::vector<short>> followChainsRecursive(const signed char* strong,
                                                      const signed char* weak,
                                                      std::vector<unsigned char>& edgeMap,
                                                      int width, int height);

// The polynomial angle with the plain 64-bit integer division.
int fixedPointAngleDivision(int gy, int gx);

// The standard Hough lines by the plain steps: one accumulator, votes cut to
// 255, strict peaks, the whole exchange sort, the walk along each line.
// Appends start and end of each of the first linesMax lines.
void houghLinesStdDirect(const Mat& src, std::vector<Point2_<int>>& lines, float rho, float theta,
                         int threshold, int linesMax);

// The darkest disc by direct loops over every pixel of every disc.
void houghCircleDirect(const Mat& image, Point2_<int>& center, int& radius);

}  // namespace test
}  // namespace tarvo
