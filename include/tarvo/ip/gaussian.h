// Gaussian smoothing, its derivative and difference forms, the Gaussian, LoG
// and derivative kernel builders, and small convolution helpers for float images.
//
// Smoothing is separable: a row pass from the source into an intermediate
// image of the source's type, then a column pass into the destination. Each
// output sample is a float sum, in tap order starting from 0, of sample times
// kernel tap; lines are mirrored at both ends without repeating the edge sample
// (index -i reads i, index len - 1 + i reads len - 1 - i, repeatedly for lines
// shorter than the kernel), and the sum is truncated toward zero and clamped
// to the element type. Double images keep the accumulator in float as well.
#pragma once

#include "tarvo/export.h"
#include "tarvo/mat.h"
#include "tarvo/types.h"

namespace tarvo {

// Separable Gaussian smoothing with its own kernel and intermediate image.
// Byte, short, int, float and double images with any channel count.
class TARVO_EXPORTS GaussianFilter {
public:
    // sigma 1, support 2.
    GaussianFilter();
    // Builds the kernel for sigma and support (see setup).
    GaussianFilter(float sigma, float support);
    virtual ~GaussianFilter();
    GaussianFilter(const GaussianFilter&) = delete;
    GaussianFilter& operator=(const GaussianFilter&) = delete;

    // Builds the float kernel of 2r + 1 taps, r = round(support) (0 for a
    // negative support), k[i] = exp(-i^2 / (2 sigma^2)) normalised to sum 1, and
    // the integer kernel round(k[i] * 2^(2r+1)) with its sum (left empty, sum 0,
    // where an int would overflow). A radius over kMaxRadius leaves no kernel,
    // and the passes then copy.
    void setup(float sigma, float support);

    // Row pass then column pass from src into dst (re-created at src's shape and
    // type when it does not fit). |sigma| <= 1e-5 copies. A pass whose 2h
    // exceeds the column count copies its input. Returns -1 for an empty src or
    // dst, else 0. src and dst may be the same object.
    int apply(const Mat& src, Mat& dst);
    // The row pass alone, same rules as apply.
    int applyX(const Mat& src, Mat& dst);
    // The column pass alone, same rules as apply (the 2h test is on columns too).
    int applyY(const Mat& src, Mat& dst);
    // Filters the single pixel (x, y), all channels, from src into dst exactly as
    // apply would compute it there. src and dst must have the same shape and type
    // and must not be the same object; false (nothing written) otherwise or when
    // (x, y) lies outside.
    bool applyPixel(const Mat& src, Mat& dst, int x, int y) const;

    // Largest kernel radius accepted; larger supports build no kernel.
    static constexpr int kMaxRadius = 1 << 20;

    Mat tmp;           // intermediate image of the row pass
    float sigma;       // standard deviation in pixels
    float support;     // kernel half-width in pixels before rounding
    float* kernel;     // 2r + 1 taps, owned (null when no kernel is held)
    int* ikernel;      // integer kernel, owned (null when it would overflow)
    int ikernelSum;    // sum of the integer kernel
    int kernelRadius;  // r; -1 when no kernel is held

protected:
    // Half-width of the passes: (int)(support + 0.5), at least 0.
    int passHalfWidth() const;
    void freeKernels();

private:
    float* m_kernelStore;  // storage behind kernel, kept across set-ups
    int* m_ikernelStore;   // storage behind ikernel
    int m_capacity;        // taps both stores hold
};

// First derivative of a Gaussian along one axis, smoothed along the other.
// Byte and float images only.
class TARVO_EXPORTS GaussianDiffFilter : public GaussianFilter {
public:
    // Base with sigma 1 and support 3; both kernels empty.
    GaussianDiffFilter();
    ~GaussianDiffFilter() override;

    // h = (int)(sigma * multiplier + 0.5) (0 when negative); g[i] = exp(-i^2 /
    // (2 sigma^2)) normalised to sum 1; d[i] = i * c * g[i] (g before
    // normalising) with c = -1 / sqrt(2 pi) / sigma^3, not normalised.
    void setupDiff(float sigma, float multiplier);
    // dst = derivative along x (dx true) or y of src: src is smoothed with g
    // along the other axis into tmp, then d is applied along the chosen axis.
    // Returns -1 for an empty source or a depth other than byte and float.
    int applyDiff(const Mat& src, Mat& dst, bool dx);

    float diffSigma;   // sigma of the derivative
    float multiplier;  // support multiplier
    float* gkernel;    // smoothing kernel, 2h + 1 taps, owned
    float* dkernel;    // derivative kernel, 2h + 1 taps, owned
    int diffRadius;    // h; -1 when no kernel is held
};

// Parameters of the difference of Gaussians (sigma1, sigma2, support multiplier).
class TARVO_EXPORTS DoGFilter {
public:
    DoGFilter() : sigma1(1.0f), sigma2(2.0f), multiplier(3.0f) {}
    virtual ~DoGFilter();
    // dst (float, src's channels) = G(sigma1) * src - G(sigma2) * src, each
    // smoothing being the separable filter on src converted to float with
    // support multiplier * sigma. Returns -1 on an empty source, else 0.
    int apply(const Mat& src, Mat& dst) const;

    float sigma1;
    float sigma2;
    float multiplier;
};

namespace ip {

// Gaussian smoothing with support 2 * sigma (sigma in pixels). dst takes src's
// shape and type; an empty src leaves dst unchanged; sigma near 0 copies.
TARVO_EXPORTS void gaussian(const Mat& src, Mat& dst, float sigma);
// As above with an explicit support (kernel half-width, rounded).
TARVO_EXPORTS void gaussian(const Mat& src, Mat& dst, float sigma, float support);
// In-place forms: filter a copy of image back into image.
TARVO_EXPORTS void gaussian(Mat& image, float sigma);
TARVO_EXPORTS void gaussian(Mat& image, float sigma, float support);
// The row pass only / the column pass only, support 2 * sigma.
TARVO_EXPORTS void gaussianX(const Mat& src, Mat& dst, float sigma);
TARVO_EXPORTS void gaussianY(const Mat& src, Mat& dst, float sigma);
// Derivative of Gaussian along x / y (see GaussianDiffFilter). Byte and float
// images; other depths and empty sources leave dst as it was.
TARVO_EXPORTS void gaussianDiffX(const Mat& src, Mat& dst, float sigma, float multiplier);
TARVO_EXPORTS void gaussianDiffY(const Mat& src, Mat& dst, float sigma, float multiplier);

// kernel = 2h + 1 doubles, h = (int)(sigma * multiplier + 0.5) (0 when
// negative), exp(-i^2 / (2 sigma^2)) normalised to sum 1; sigma 0 gives the unit
// impulse. A radius over GaussianFilter::kMaxRadius empties kernel.
TARVO_EXPORTS void gaussiankernel(float sigma, float multiplier, Vec_<double>& kernel);
// kernel (len(ky) rows, len(kx) cols) with element (y, x) = ky[y] * kx[x].
TARVO_EXPORTS void gaussiankernel2D(float sigmaX, float sigmaY, float multiplier,
                                    Mat_<double>& kernel);

// A new size x 1 kernel of type MAT_Tfloat (float) or any other (double),
// summing to 1. Odd sizes below 8 with sigma <= 0 give the fixed binomial
// rows; otherwise sigma <= 0 means ((size - 1) / 2 - 1) * 0.3 + 0.8. The caller
// deletes it. size < 1 or over 2 * kMaxRadius + 1 gives null.
TARVO_EXPORTS Mat* getGaussianKernel(int size, double sigma, TYPE type);

// A new float kernel of 2r + 1 taps, r = (int)(3 sigma): exp(-i^2 / (2
// sigma^2)) / sigma; with normalize divided by the sum of absolute values.
// Null for a sigma that is not positive and finite or a radius over the limit.
TARVO_EXPORTS Vec_<float>* computeGaussianKernel(float sigma, bool normalize);
// A new (2r + 1)^2 float kernel, r = (int)(3 sigma), not normalised:
// exp(-(x^2 + y^2) / (2 sigma^2)) / sigma^2. Null like computeGaussianKernel.
TARVO_EXPORTS Mat_<float>* computeGaussianKernel2D(float sigma);
// A new (2r + 1)^2 Laplacian-of-Gaussian kernel, r = (int)(3 sigma), with
// q = x^2 + y^2: exp(-q / (2 sigma^2)) * (q - 2 sigma^2) / sigma^4. Null like above.
TARVO_EXPORTS Mat_<float>* computeLoGKernel2D(float sigma);
// A new (2r + 1)^2 byte mask, r = (int)(3 sigma): 1 where x^2 + y^2 <= r^2,
// else 0. Null like above.
TARVO_EXPORTS Mat_<unsigned char>* computeCircleMask2D(float sigma);
// A new first-derivative kernel of 2r + 1 taps, r = (int)(3 sigma):
// d[i] = -i exp(-i^2 / (2 sigma^2)) / sigma^3. Null like above.
TARVO_EXPORTS Vec_<float>* computeGaussianDerivationKernel(float sigma);

// Scale index of sigma in a geometric series: (int)(log(sigma / baseSigma) /
// log(factor) + 0.5), in float. Undefined ratios (NaN) give 0; infinite ones clamp.
TARVO_EXPORTS int convertSigma2Seq(float sigma, float baseSigma, float factor);

// dst = src convolved along rows with kernel: for x in [h, cols - h), h = len / 2,
// dst[x] = sum over j of src[x - h + j] * kernel[j], in float, four taps per
// step (((p0 + p1) + p2) + p3 added to the running sum), remaining taps one by
// one. The h columns at each end get src (keepBorder) or 0. dst is re-created
// when it does not fit; src may be dst. Null arguments or empty inputs: nothing.
TARVO_EXPORTS void convolveImageHoriz(const Mat_<float>* src, const Vec_<float>* kernel,
                                      Mat_<float>* dst, bool keepBorder);
// The same along columns; the h rows at each end get src or 0.
TARVO_EXPORTS void convolveImageVert(const Mat_<float>* src, const Vec_<float>* kernel,
                                     Mat_<float>* dst, bool keepBorder);
// Horizontal pass with kx, then vertical with ky, through a temporary; src may be dst.
TARVO_EXPORTS void convolveImage(const Mat_<float>* src, const Vec_<float>* kx,
                                 const Vec_<float>* ky, Mat_<float>* dst, bool keepBorder);

// Bilinear value of channel 0 at (x, y), in double; x0 = clamp((int)x), x1 =
// clamp((int)x + 1), weights x - floor(x) (likewise in y). Byte and double
// images; other depths and empty images give 0, NaN coordinates NaN.
TARVO_EXPORTS double interpLinear(const Mat& image, double x, double y);

// Difference of Gaussians (see DoGFilter): dst is float with src's channels.
// s1, s2: the two sigmas; multiplier: support = multiplier * sigma.
TARVO_EXPORTS void dogfilter(const Mat& src, Mat& dst, float s1, float s2, float multiplier);

// Blurs the disc of radius around centre from src into dst, each pixel with
// sigma = t * a / radius + 0.1 and support = t * b / radius + 0.1, t = radius -
// distance to the centre (the blur grows toward the centre). Pixels outside the
// image are skipped. dst not fitting src is first made a copy of src. Returns 1,
// or 0 for an empty source.
TARVO_EXPORTS int blurringCircle(const Mat& src, Mat& dst, int radius, int a, int b,
                                 const Point2_<int>& centre);

}  // namespace ip
}  // namespace tarvo
