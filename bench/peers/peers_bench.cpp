// Side-by-side timings of tarvoip and libvips on the same synthetic 1080p
// pictures, one thread each, with the ratio (libvips time / tarvoip time;
// above 1 means tarvoip is faster). Built only by `make bench-peers` when
// libvips' development files are installed; never part of CI.
//
// Each operation is run until about 0.3 s have passed, at least 5 times;
// the median wall time and the median process CPU time are printed, with
// the ratio of each (on a loaded machine the CPU ratio is the steadier one;
// libvips may spend CPU on helper threads even with its concurrency at 1). libvips
// evaluates lazily, so every libvips run ends with a write to memory, which
// is where its work happens.
#include <vips/vips.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

#include "tarvo/colorspace.h"
#include "tarvo/ip/edges.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/ip/morphology.h"
#include "tarvo/ip/photo.h"
#include "tarvo/mat.h"
#include "tarvo/parallel.h"

using namespace tarvo;

namespace {

constexpr int W = 1920, H = 1080;

struct Timing {
    double wall = 0, cpu = 0;
};

double cpuNow() {
    timespec ts;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return ts.tv_sec + ts.tv_nsec * 1e-9;
}

Timing measure(const std::function<bool()>& run) {
    std::vector<double> walls, cpus;
    if (!run()) return Timing{-1, -1};  // warm-up, and a check that it works
    const auto start = std::chrono::steady_clock::now();
    while (walls.size() < 5 ||
           std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() < 0.3) {
        const double c0 = cpuNow();
        const auto t0 = std::chrono::steady_clock::now();
        run();
        walls.push_back(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
        cpus.push_back(cpuNow() - c0);
        if (walls.size() >= 200) break;
    }
    std::sort(walls.begin(), walls.end());
    std::sort(cpus.begin(), cpus.end());
    return Timing{walls[walls.size() / 2], cpus[cpus.size() / 2]};
}

// Smooth gradients plus noise, like the pictures of the main benchmarks.
Mat picture(int channels) {
    Mat m(H, W, MAKETYPE(MAT_Tuchar, channels));
    std::mt19937 rng(7);
    for (int y = 0; y < H; y++) {
        unsigned char* p = m.data.ptr[y];
        for (int x = 0; x < W; x++)
            for (int k = 0; k < channels; k++)
                p[x * channels + k] =
                    (unsigned char)((x * 255 / W + y * 255 / H * k + (rng() & 15)) & 255);
    }
    return m;
}

VipsImage* toVips(const Mat& m) {
    const size_t bytes =
        size_t(m.rows()) * m.cols() * m.channels() * (m.type() == MAT_Tfloat ? 4 : 1);
    std::vector<unsigned char> buf(bytes);
    const size_t row = bytes / m.rows();
    for (int y = 0; y < m.rows(); y++) std::copy(m.data.ptr[y], m.data.ptr[y] + row, &buf[y * row]);
    VipsImage* v = vips_image_new_from_memory_copy(
        buf.data(), bytes, m.cols(), m.rows(), m.channels(),
        m.type() == MAT_Tfloat ? VIPS_FORMAT_FLOAT : VIPS_FORMAT_UCHAR);
    if (v && m.channels() == 3) v->Type = VIPS_INTERPRETATION_sRGB;
    if (v && m.channels() == 1) v->Type = VIPS_INTERPRETATION_B_W;
    return v;
}

// Forces a lazy libvips result and frees it.
bool finish(VipsImage* out) {
    if (!out) return false;
    size_t len = 0;
    void* mem = vips_image_write_to_memory(out, &len);
    g_object_unref(out);
    if (!mem) return false;
    g_free(mem);
    return true;
}

struct Row {
    std::string name;
    std::function<bool()> tarvo, vips;
};

}  // namespace

int main(int argc, char** argv) {
    if (VIPS_INIT(argv[0])) {
        std::fprintf(stderr, "libvips did not start\n");
        return 1;
    }
    (void)argc;
    setNumThreads(1);
    vips_concurrency_set(1);
    vips_cache_set_max(0);  // no reuse of earlier results between runs

    const Mat rgb = picture(3), grey = picture(1);
    Mat greyF;
    grey.convertTo(greyF, MAT_Tfloat);
    greyF.convertTo(greyF, MAT_Tfloat, 1.01, 0.3);  // fractions, so rounding has work
    Mat bin(H, W, MAT_Tuchar);
    for (int y = 0; y < H; y++)
        for (int x = 0; x < W; x++) bin.data.ptr[y][x] = grey.data.ptr[y][x] < 60 ? 0 : 255;
    VipsImage* vRgb = toVips(rgb);
    VipsImage* vGrey = toVips(grey);
    VipsImage* vGreyF = toVips(greyF);
    VipsImage* vBin = toVips(bin);
    VipsImage* mask3 = vips_image_new_matrix(3, 3);
    for (int i = 0; i < 9; i++) *VIPS_MATRIX(mask3, i % 3, i / 3) = 255;

    char dirTemplate[] = "/tmp/tarvo-peers-XXXXXX";
    const std::string dir = mkdtemp(dirTemplate) ? dirTemplate : "/tmp";
    const std::string png = dir + "/p.png", jpg = dir + "/p.jpg", out = dir + "/o.png";
    rgb.toImage(png.c_str(), 95, 6);
    rgb.toImage(jpg.c_str(), 90);

    Mat dst;
    std::vector<Row> rows = {
        {"RGB to grey",
         [&] {
             ColorSpace::RGBtoGray(rgb, dst);
             return !dst.empty();
         },
         [&] {
             VipsImage* o = nullptr;
             return vips_colourspace(vRgb, &o, VIPS_INTERPRETATION_B_W, nullptr) == 0 && finish(o);
         }},
        {"float to byte",
         [&] {
             greyF.convertTo(dst, MAT_Tuchar, CT_Round);
             return !dst.empty();
         },
         [&] {
             VipsImage* o = nullptr;
             return vips_cast_uchar(vGreyF, &o, "shift", FALSE, nullptr) == 0 && finish(o);
         }},
        {"gaussian sigma 2",
         [&] {
             ip::gaussian(grey, dst, 2.0f);
             return !dst.empty();
         },
         [&] {
             VipsImage* o = nullptr;
             return vips_gaussblur(vGrey, &o, 2.0, nullptr) == 0 && finish(o);
         }},
        {"binary erosion 3x3",
         [&] {
             ip::erode(bin, dst, 3, 3);
             return !dst.empty();
         },
         [&] {
             VipsImage* o = nullptr;
             return vips_morph(vBin, &o, mask3, VIPS_OPERATION_MORPHOLOGY_ERODE, nullptr) == 0 &&
                    finish(o);
         }},
        {"canny",
         [&] {
             ip::canny(grey, dst, 50, 150);
             return !dst.empty();
         },
         [&] {
             VipsImage* o = nullptr;
             return vips_canny(vGrey, &o, nullptr) == 0 && finish(o);
         }},
        {"equalise",
         [&] {
             ip::histogramEqualize(grey, dst);
             return !dst.empty();
         },
         [&] {
             VipsImage* o = nullptr;
             return vips_hist_equal(vGrey, &o, nullptr) == 0 && finish(o);
         }},
    };
    struct Kernel {
        const char* name;
        int code;
        VipsKernel vk;
    } kernels[] = {{"resize linear", ip::ResizeLinear, VIPS_KERNEL_LINEAR},
                   {"resize cubic", ip::ResizeCubic, VIPS_KERNEL_CUBIC},
                   {"resize lanczos", ip::ResizeLanczos4, VIPS_KERNEL_LANCZOS3}};
    for (const Kernel& k : kernels)
        rows.push_back({std::string(k.name) + " RGB to 1280x720",
                        [&, k] {
                            ip::resize(rgb, dst, 1280, 720, k.code);
                            return !dst.empty();
                        },
                        [&, k] {
                            VipsImage* o = nullptr;
                            return vips_resize(vRgb, &o, 1280.0 / W, "vscale", 720.0 / H, "kernel",
                                               k.vk, nullptr) == 0 &&
                                   finish(o);
                        }});
    rows.push_back({"PNG decode RGB", [&] { return dst.fromImage(png.c_str(), IMG_COLOR); },
                    [&] {
                        return finish(vips_image_new_from_file(png.c_str(), "access",
                                                               VIPS_ACCESS_SEQUENTIAL, nullptr));
                    }});
    rows.push_back({"JPEG decode RGB q90", [&] { return dst.fromImage(jpg.c_str(), IMG_COLOR); },
                    [&] {
                        return finish(vips_image_new_from_file(jpg.c_str(), "access",
                                                               VIPS_ACCESS_SEQUENTIAL, nullptr));
                    }});
    // At level 6 both choose a row filter per row from all five, as our writer
    // does; left to its default the peer writes no row filter at all, a file
    // about 40% larger, which is not the same work.
    for (int level : {1, 6})
        rows.push_back(
            {"PNG encode RGB level " + std::to_string(level),
             [&, level] { return rgb.toImage(out.c_str(), 95, level); },
             [&, level] {
                 return (level == 1
                             ? vips_pngsave(vRgb, out.c_str(), "compression", level, nullptr)
                             : vips_pngsave(vRgb, out.c_str(), "compression", level, "filter",
                                            VIPS_FOREIGN_PNG_FILTER_ALL, nullptr)) == 0;
             }});

    std::printf("1920x1080, one thread each; Mpix/s by wall time (CPU time in brackets)\n");
    std::printf("%-34s %22s %22s %8s %8s\n", "operation", "tarvoip", "libvips", "ratio",
                "cpu ratio");
    const double mpix = double(W) * H / 1e6;
    for (const Row& r : rows) {
        const Timing a = measure(r.tarvo), b = measure(r.vips);
        auto cell = [&](const Timing& t) {
            char s[64];
            if (t.wall < 0)
                std::snprintf(s, sizeof s, "failed");
            else
                std::snprintf(s, sizeof s, "%8.0f (%8.0f)", mpix / t.wall, mpix / t.cpu);
            return std::string(s);
        };
        char ratio[32] = "-", cpuRatio[32] = "-";
        if (a.wall > 0 && b.wall > 0) std::snprintf(ratio, sizeof ratio, "%.2fx", b.wall / a.wall);
        if (a.cpu > 0 && b.cpu > 0)
            std::snprintf(cpuRatio, sizeof cpuRatio, "%.2fx", b.cpu / a.cpu);
        std::printf("%-34s %22s %22s %8s %8s\n", r.name.c_str(), cell(a).c_str(), cell(b).c_str(),
                    ratio, cpuRatio);
    }
    std::remove(png.c_str());
    std::remove(jpg.c_str());
    std::remove(out.c_str());
    rmdir(dir.c_str());
    for (VipsImage* v : {vRgb, vGrey, vGreyF, vBin, mask3}) g_object_unref(v);
    vips_shutdown();
    return 0;
}
