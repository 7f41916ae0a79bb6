// A user's program against the installed package: load, find edges, save.
#include <tarvo/tarvoip.h>

#include <cstdio>

int main(int argc, char** argv) {
    tarvo::Mat img;
    if (argc < 3 || !img.fromImage(argv[1], tarvo::IMG_GRAYSCALE)) return 1;
    tarvo::Mat edges;
    tarvo::ip::canny(img, edges, 50, 150);
    std::printf("%d x %d\n", edges.cols(), edges.rows());
    return edges.toImage(argv[2]) ? 0 : 1;
}
