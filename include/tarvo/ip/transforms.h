// Discrete transforms: Fourier and cosine transforms of matrices and arrays,
// spectrum products, and the two-dimensional transform object.
//
// Packed real spectra ("CCS"): a real row of length n transforms to n reals
// Re0, Re1, Im1, Re2, Im2, ..., and for even n lastly Re(n/2). A real matrix
// packs each row that way, then packs its first column (and, for an even
// width, its last column) down the rows in the same way; the columns between
// hold (Re, Im) pairs.
#pragma once

#include "tarvo/export.h"
#include "tarvo/mat.h"

namespace tarvo {

// Flags of dft and dct.
enum DftFlags {
    DFT_INVERSE = 1,          // inverse transform
    DFT_SCALE = 2,            // divide by the number of elements transformed
    DFT_ROWS = 4,             // each row is an independent one-dimensional transform
    DFT_COMPLEX_OUTPUT = 16,  // forward real: full two-channel result instead of CCS
    DFT_REAL_OUTPUT = 32,     // inverse of a two-channel (CCS-symmetric) input: one real channel
};

// Fourier transform of a float or double matrix of one (real) or two (complex)
// channels into dst (created at src's size, zeroed). flags: DftFlags. Rows from
// nonzeroRows on (values below 1 mean all) are treated as zero and skipped in the
// row pass. Other depths or channel counts leave dst unchanged; an empty src empties it.
TARVO_EXPORTS void dft(const Mat& src, Mat& dst, int flags = 0, int nonzeroRows = 0);

// dft with DFT_INVERSE set.
TARVO_EXPORTS void idft(const Mat& src, Mat& dst, int flags = 0, int nonzeroRows = 0);

// Orthonormal cosine transform (type II forward, type III inverse) of a
// one-channel float or double matrix; reads only DFT_INVERSE and DFT_ROWS.
// Lengths must be even or 1: an odd length above 1, another depth or channel
// count leaves dst unchanged; an empty src empties it.
TARVO_EXPORTS void dct(const Mat& src, Mat& dst, int flags = 0);

// dct with DFT_INVERSE set.
TARVO_EXPORTS void idct(const Mat& src, Mat& dst, int flags = 0);

// Element-wise product of two spectra of one shape and type: two-channel
// complex data, or one-channel CCS data (reads DFT_ROWS only). conjB
// multiplies by the conjugate of b. Unequal shapes or types, or other depths,
// leave dst unchanged.
TARVO_EXPORTS void mulSpectrums(const Mat& a, const Mat& b, Mat& dst, int flags,
                                bool conjB = false);

// Smallest 2^a 3^b 5^c (b <= 14) not below size; 0 gives 1. -1 for a negative
// size or one of 2125764000 or more.
TARVO_EXPORTS int getOptimalDFTSize(int size);

// Direct two-dimensional transform with stored cosine and sine tables, for
// small images (cost rows * cols * (rows + cols)).
class TARVO_EXPORTS DFT2D {
public:
    DFT2D() = default;
    // Frees the tables.
    ~DFT2D();
    // Copies the tables.
    DFT2D(const DFT2D& other);
    DFT2D& operator=(const DFT2D& other);

    // Builds the tables for rows x cols (both >= 1; other sizes leave the object empty),
    // freeing any earlier ones.
    void create(int rows, int cols);
    // Frees the tables.
    void release();
    // Forward, unscaled transform of (re, im) into (outRe, outIm); re and im are
    // overwritten with the column pass. All four float or double of the created
    // size and one channel; anything else does nothing.
    void Process2DCart(Mat* re, Mat* im, Mat* outRe, Mat* outIm);
    // Inverse transform, scaled by 1 / (rows * cols). Same rules as Process2DCart.
    void IProcess2DCart(Mat* re, Mat* im, Mat* outRe, Mat* outIm);

    int rows() const { return m_rows; }
    int cols() const { return m_cols; }

    // Entry i < rows: value at 2 pi i / rows; entry rows + i: at 2 pi i / cols.
    double* cosTable = nullptr;
    double* sinTable = nullptr;

private:
    template <typename T>
    void run(Mat& re, Mat& im, Mat& outRe, Mat& outIm, bool inverse);
    bool fits(const Mat* re, const Mat* im, const Mat* outRe, const Mat* outIm) const;
    int m_rows = 0, m_cols = 0;
};

namespace ip {

// In-place radix-2 transform of (x, y), length 2^m (m in 0..30); dir 1 is the
// forward transform divided by n, any other dir the unscaled inverse. Bad m or
// null arrays write nothing. Returns true.
TARVO_EXPORTS bool fft(int dir, int m, double* x, double* y);

// Direct-sum transform of length n: result in (x1, y1), (x2, y2) scratch of
// length n. dir 1 forward divided by n, other dirs unscaled with angle sign
// flipped. n < 1 or null arrays write nothing. Returns true.
TARVO_EXPORTS bool dft(int dir, int n, double* x1, double* y1, double* x2, double* y2);

// True when n is a power of two (1 included); false below 1.
TARVO_EXPORTS bool isPowerof2(int n);

// Display transform of the image (re, im) (any depth, read as float, samples
// around 128): rows then columns by fft (power-of-two length) or dft, scaled by
// max(w, h) / 16 (its inverse for dir -1), written as bytes offset by 128, or
// with magnitude as log magnitude and phase. pad rounds sizes up to powers of
// two (reads outside an input give 128). Outputs take the shape and type of re
// and im, zeroed; byte x of each row holds column x. Returns true.
TARVO_EXPORTS bool fft2(const Mat& re, const Mat& im, Mat& outRe, Mat& outIm, int dir, bool pad,
                        bool magnitude);

}  // namespace ip
}  // namespace tarvo
