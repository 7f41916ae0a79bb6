// Photo operators: whole-image adjustments, each as an operator class (an
// ipCorePump that can stand in a Pipe) and as a free function in tarvo::ip.
// Colour images are interleaved R, G, B bytes.
#pragma once

#include "tarvo/export.h"
#include "tarvo/ip/core.h"
#include "tarvo/mat.h"

namespace tarvo {

// ---------------------------------------------------------------- colour adjustment

// Tints towards a fixed hue and saturation (byte HSL scale) while keeping each
// pixel's lightness; blend (clamped to 0..1 in the object) mixes with the source.
// A destination of another shape or channel count is replaced by a copy of the source.
class TARVO_EXPORTS ipColorize : public ipCorePump {
public:
    ipColorize() : hue(0), saturation(0), blend(1.0f) {}
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;

    unsigned char hue;         // 0..255, a full turn is 255
    unsigned char saturation;  // 0..255
    float blend;               // 0 keeps the source, 1 (or more) replaces it
};

// Adds a constant to each of the first three channels, clamped to 0..255 for bytes.
// Refuses (false, nothing written) a destination of another shape or channel count.
class TARVO_EXPORTS ipShiftRGB : public ipCorePump {
public:
    ipShiftRGB() : shift{0, 0, 0} {}
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;

    int shift[3];  // added to channels 0, 1, 2
};

// Shifts hue (degrees), saturation and lightness (percent points) of every
// pixel. Works over the pixels the destination already holds (copy the source
// into it first, or pass the same matrix); a mismatching destination is
// re-created with cleared pixels.
class TARVO_EXPORTS ipHSL : public ipCorePump {
public:
    ipHSL() : hueShift(0), saturationShift(0), lightnessShift(0) {}
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;

    int hueShift;         // degrees, wraps once around 0..360
    int saturationShift;  // percent points, result clamped to 0..100
    int lightnessShift;   // percent points, result clamped to 0..100
};

// Shifts the colour balance of a byte image by per-channel offsets that grow
// with the distance from 6600 K: below it towards blue (red and green lowered,
// blue raised), above it towards red and yellow; 6600 K leaves it unchanged. The destination is
// always re-created.
class TARVO_EXPORTS ipColorTemperature : public ipCorePump {
public:
    explicit ipColorTemperature(int temperature = 6600) : temperature(temperature) {}
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;

    int temperature;  // kelvin; values far outside 1000..12000 saturate the channels
};

// ---------------------------------------------------------------- histogram operators
//
// Byte images. One-channel images are remapped directly; three-channel images
// through their luminance: the pixels go to float Y, U, V, Y is remapped and
// the result comes back to R, G, B rounded to bytes. Every operator re-creates
// a destination of another size, depth or channel count (cleared), treats a
// null destination as "in place", and refuses (false, nothing written) a null
// or empty source, other depths and channel counts other than 1 and 3.

// Histogram equalisation with an integer table:
// lut[i] = (cum[i] - cum[0]) * 255 / (cum[255] - cum[0]), cum the running count
// of (truncated) levels. Refuses an image with nothing above level 0.
class TARVO_EXPORTS ipHistogramEqualize : public ipCorePump {
public:
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;
};

// Logarithmic tone curve: v -> trunc(log(v + 1) * 255 / log(M + 1)), M the
// largest level. One-channel images are remapped in their own rows (the source
// changes; a separate destination is only shaped). For colour, M is the
// truncated largest Y (at least 1) and only the low byte of the result is kept.
class TARVO_EXPORTS ipHistogramLog : public ipCorePump {
public:
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;
};

// Equalisation with the table computed in double and truncated, always through
// luminance (a grey image is its own luminance). Refuses like ipHistogramEqualize.
class TARVO_EXPORTS ipHistogramNormalize : public ipCorePump {
public:
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;
};

// Square-root tone curve: v -> clamp(sqrt(v + 1) * 128 / log(M + 1), 0, 255)
// with M the largest level (at least 1); truncated for grey, kept as float Y
// for colour.
class TARVO_EXPORTS ipHistogramRoot : public ipCorePump {
public:
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;
};

// Contrast stretch of colour images to 0..255: mode 1 one range over all three
// channels, mode 2 each channel on its own range (an image already spanning
// 0..255 in every channel is left alone), any other mode the luminance range
// (false for a flat luminance). Images without three channels: true, nothing written.
class TARVO_EXPORTS ipHistogramStretch : public ipCorePump {
public:
    explicit ipHistogramStretch(int mode = 0) : mode(mode) {}
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;

    int mode;  // 1 common range, 2 per channel, anything else luminance
};

// ---------------------------------------------------------------- tone operators
//
// Byte images through 256-entry tables (every channel for exposure and light,
// the first three channels of each pixel for level mode 2 and shadows, further
// channels copied); exposure and light also take float images, whose elements
// index the table by clamp(trunc(v), 0, 255), NaN as 0. A null destination
// means in place. A null or empty source and other depths are refused (false,
// nothing written).

// Brightness and contrast in one: table[i] = clamp(trunc((i - 128) * (amount +
// 100) / 100 + amount + 128), 0, 255). A destination of another size, depth or
// channel count becomes a copy of the source before it is overwritten.
class TARVO_EXPORTS ipExposure : public ipCorePump {
public:
    explicit ipExposure(int amount = 0) : amount(amount) {}
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;

    int amount;  // -100 darkens to black, 0 is the identity, 100 doubles the contrast
};

// table[i] = clamp(trunc((i - 128) * (contrast + 100) / 100 + brightness), 0, 255)
// with brightness stored with 128 added. A mismatching destination is re-created
// and cleared.
class TARVO_EXPORTS ipLight : public ipCorePump {
public:
    // brightness as the caller means it (-255..255, 0 neutral); 128 is added here.
    explicit ipLight(int brightness = 0, int contrast = 0)
        : brightness(brightness > 2147483647 - 128 ? 2147483647 : brightness + 128),
          contrast(contrast) {}
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;

    int brightness;  // the caller's brightness + 128
    int contrast;    // percent; -100 flattens to grey, 0 keeps, 100 doubles
};

// Levels. Mode 1 stretches the luminance range of a 1- or 3-channel byte image
// onto low..high (false for a flat image or low == high; a destination it
// re-created then stays cleared). Mode 2 lifts the shadows by low and pulls the
// highlights by 255 - high through one table; it refuses (false, nothing
// written) a destination of another size or depth. Other modes: false.
class TARVO_EXPORTS ipLevel : public ipCorePump {
public:
    ipLevel(int low = 0, int high = 255, int mode = 2) : low(low), high(high), mode(mode) {}
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;

    int low;   // 0..255
    int high;  // 0..255
    int mode;  // 1 luminance stretch, 2 shadow/highlight table
};

// Shadow lift: v = p + (m - trunc(p * (m + 0.0001) / 255)) / 2 with m = trunc(depth
// * 255), capped at trunc(255 - limit * 50) and clamped to 0..255. A mismatching
// destination is re-created and cleared.
class TARVO_EXPORTS ipShadows : public ipCorePump {
public:
    ipShadows(float depth = 0.5f, float limit = 0.5f) : depth(depth), limit(limit) {}
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;

    float depth;  // 0..1, how much dark values are lifted
    float limit;  // 0..1, lowers the brightest output value by up to 50 levels
};

// Power-law tone curve normalised so that 255 stays 255 on bytes:
// table[i] = trunc(i^gamma * 255 / 255^gamma) (gamma 0: a logarithmic curve).
// Float and double images get pow(v, gamma) on the first cols elements of each
// row (gamma 0: log(max(v, 1) / 256 + v)).
class TARVO_EXPORTS GammaCorrection {
public:
    explicit GammaCorrection(double gamma = 0.5) : gamma(gamma < 0 ? -gamma : gamma) {}
    virtual ~GammaCorrection() {}
    // Stores |gamma|.
    void setGamma(double g) { gamma = g < 0 ? -g : g; }
    double getGamma() const { return gamma; }
    // dst = the curve applied to src (dst may be src). A destination of another
    // size or type is re-created and cleared first. Returns 0, or -1 for null
    // or empty arguments and depths other than byte, float and double.
    int process(const Mat* src, Mat* dst);

    double gamma;
};

// ---------------------------------------------------------------- stylising operators
//
// Byte images of 1 to 4 channels. Where a pixel's colour is read, a grey
// pixel stands for three equal values; channels past the third are copied from
// the source. Other depths, null or empty sources are refused (false, nothing
// written). A null destination means in place; a destination of another size,
// depth or channel count is re-created and cleared first.

// Lens-like remapping about the centre: mode 0 magnifies the middle, 1 shrinks
// it, 2 twists by d / twist radians, 3 unrolls to polar coordinates, others
// shift columns in 32-pixel bands. Pixels outside the circle, or mapped outside
// the image, take the top left pixel. radius 0 becomes the half diagonal and
// twist 0 becomes 1, both kept in the object.
class TARVO_EXPORTS ipCircleTransform : public ipCorePump {
public:
    ipCircleTransform(int mode = 0, int radius = 0, float twist = 1.0f)
        : mode(mode), radius(radius), twist(twist) {}
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;

    int mode;
    int radius;   // pixels; 0 for the half diagonal
    float twist;  // pixels per radian of twist in mode 2; 0 for 1
};

// Pencil outline: 255 - min(S * amount / 50, 255), S the summed absolute
// differences of each pixel's first byte to its four neighbours (the outermost
// rows and columns read as 0), in three equal channels.
class TARVO_EXPORTS ipSketch : public ipCorePump {
public:
    explicit ipSketch(int amount = 50) : amount(amount) {}
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;

    int amount;  // line strength; 0 gives white, 50 is gain 1
};

// Outline with hand hatching: the outline of ipSketch (gain 1.2) mixed with
// stroke patterns chosen by the grey level.
class TARVO_EXPORTS ipRoughSketch : public ipCorePump {
public:
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;
};

// Sepia: every pixel is tinted by its lightness and mixed into a running colour
// that carries along the rows; the result always has three channels.
class TARVO_EXPORTS ipVintage : public ipCorePump {
public:
    explicit ipVintage(int amount = 80) : amount(amount) {}
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;

    int amount;  // percent, clamped to 0..100; 0 gives black, 100 the plain tint
};

// Few levels: each of the first three bytes of a pixel snaps to the nearer of
// the two table entries around it (values above the last entry stay).
class TARVO_EXPORTS ipPosterize : public ipCorePump {
public:
    // levels is limited to 2..256.
    explicit ipPosterize(int levels = 4);
    ipPosterize(const ipPosterize& other);
    ipPosterize& operator=(const ipPosterize&) = delete;
    ~ipPosterize() override;
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;

    int levels;
    unsigned char* table;  // levels entries, owned; null if allocation failed

private:
    int m_tableLevels;  // entries in table; process rebuilds it when levels changed
};

// Moves every pixel by a random offset of up to amount pixels in x and y (from
// rand15, never seeded here); a pixel mapped outside keeps its own colour.
class TARVO_EXPORTS ipJitter : public ipCorePump {
public:
    explicit ipJitter(int amount = 3) : amount(amount) {}
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;

    int amount;  // pixels
};

// Adds uniform noise of +-amount/2 to every byte, clamped to 0..255; seeds the
// generator through detail::seedFromClock on every call.
class TARVO_EXPORTS ipNoise : public ipCorePump {
public:
    explicit ipNoise(int amount = 40) : amount(amount) {}
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;

    int amount;  // peak-to-peak noise in levels
};

// Smoothing with offset: methods 0 to 2 filter with a 3 x 3 box, a 3 x 3 and a
// 5 x 5 binomial-like kernel plus trunc(strength * 50) (pixels whose window
// crosses the edge keep their value), 3 takes the 3 x 3 median; any other
// method gives zeros of the source's size and type.
class TARVO_EXPORTS ipDenoise {
public:
    ipDenoise(float strength = 0.0f, int method = 0) : strength(strength), method(method) {}
    virtual ~ipDenoise() {}
    // dst (or src when dst is null) becomes the result with src's size and
    // type. Refuses (false, nothing written) what ipSketch refuses.
    bool process(Mat* src, Mat* dst);

    float strength;  // brightness added, in fiftieths of a level per unit
    int method;      // 0 box, 1 3 x 3 weighted, 2 5 x 5 weighted, 3 median
};

namespace ip {

// RGB to byte-scale HSL (all 0..255, a full hue turn is 255), integer arithmetic.
// A grey pixel gets hue 170 and saturation 0.
TARVO_EXPORTS void RGBtoHSL(unsigned char r, unsigned char g, unsigned char b, unsigned char& h,
                            unsigned char& s, unsigned char& l);
// Byte-scale HSL back to RGB, in single precision with truncation.
TARVO_EXPORTS void HSLtoRGB(unsigned char h, unsigned char s, unsigned char l, unsigned char& r,
                            unsigned char& g, unsigned char& b);
// The piecewise hue ramp of the HSL to RGB conversions: the channel value in
// 0..1 for hue x in degrees (wrapped once into 0..360) between levels m1 and m2.
TARVO_EXPORTS float ramp(float m1, float m2, float x);

// dst = src tinted with hue and saturation (byte scale), mixed by blend in 0..1.
TARVO_EXPORTS void colorize(const Mat& src, Mat& dst, unsigned char hue, unsigned char saturation,
                            float blend);
// In-place form: works from a copy of image.
TARVO_EXPORTS void colorize(Mat& image, unsigned char hue, unsigned char saturation, float blend);
// dst = src + shift per channel (bytes clamped). dst must already have src's
// shape and channels, otherwise it is left unchanged.
TARVO_EXPORTS void shiftRGB(const Mat& src, Mat& dst, int shift0, int shift1, int shift2);
// Adjusts the pixels dst holds (see ipHSL): pass src as dst, or copy src into dst first.
TARVO_EXPORTS void hsl(const Mat& src, Mat& dst, int hueShift, int saturationShift,
                       int lightnessShift);
// dst = src with the colour balance of the temperature in kelvin (6600 is neutral,
// lower is bluer, higher is redder).
TARVO_EXPORTS void colorTemperature(const Mat& src, Mat& dst, int temperature);

// Histogram equalisation. bins 256 with no mask runs ipHistogramEqualize;
// anything else copies src to dst and runs the general form on dst: byte or
// double one-channel data, each element (or each element whose mask byte is
// non-zero) replaced by its interpolated cumulative share in 0..1 over `bins`
// equal-width bins (bytes keep only the integer part, so nearly all become 0),
// masked-out elements 0. Other depths, bins < 1 or a mask of another size:
// dst stays the copy. All taking-part elements equal: they become 0.
TARVO_EXPORTS void histogramEqualize(const Mat& src, Mat& dst, int bins = 256, Mat* mask = nullptr);
// In-place form of the above.
TARVO_EXPORTS void histogramEqualize(Mat& image, int bins = 256, Mat* mask = nullptr);
// Logarithmic tone curve (see ipHistogramLog: a one-channel source is changed
// in place and dst only shaped).
TARVO_EXPORTS void histogramLog(const Mat& src, Mat& dst);
// Equalisation through luminance with a double-precision table.
TARVO_EXPORTS void histogramNormalize(const Mat& src, Mat& dst);
// Square-root tone curve (see ipHistogramRoot).
TARVO_EXPORTS void histogramRoot(const Mat& src, Mat& dst);
// Contrast stretch of a colour image (mode: see ipHistogramStretch).
TARVO_EXPORTS void histogramStretch(const Mat& src, Mat& dst, int mode);
// In-place form.
TARVO_EXPORTS void histogramStretch(Mat& image, int mode);

// dst = src through ipExposure (amount -100..100 is the useful range).
TARVO_EXPORTS void exposure(const Mat& src, Mat& dst, int amount);
// dst = src through ipLight; brightness -255..255, contrast in percent (-100..).
TARVO_EXPORTS void light(const Mat& src, Mat& dst, int brightness, int contrast);
// In-place form of light.
TARVO_EXPORTS void light(Mat& image, int brightness, int contrast);
// dst = src through ipLevel (low, high 0..255; mode 1 or 2).
TARVO_EXPORTS void level(const Mat& src, Mat& dst, int low, int high, int mode);
// dst = src through ipShadows (depth and limit 0..1).
TARVO_EXPORTS void shadow(const Mat& src, Mat& dst, float depth, float limit);
// dst = src through GammaCorrection with |gamma|; dst takes src's size and type
// (cleared when new). Bad input leaves dst as it was.
TARVO_EXPORTS void gamma(const Mat& src, Mat& dst, double gamma);

// dst = src through ipSketch (amount 0..100).
TARVO_EXPORTS void sketch(const Mat& src, Mat& dst, int amount);
// dst = src through ipRoughSketch.
TARVO_EXPORTS void roughSketch(const Mat& src, Mat& dst);
// dst = src through ipVintage (amount in percent).
TARVO_EXPORTS void vintage(const Mat& src, Mat& dst, int amount);
// dst = src through ipPosterize (levels 2..256).
TARVO_EXPORTS void posterize(const Mat& src, Mat& dst, int levels);
// dst = src through ipJitter (amount in pixels).
TARVO_EXPORTS void jitter(const Mat& src, Mat& dst, int amount);
// dst = src through ipNoise.
TARVO_EXPORTS void noise(const Mat& src, Mat& dst, int amount);
// dst = src through ipCircleTransform.
TARVO_EXPORTS void circleTransform(const Mat& src, Mat& dst, int radius, float twist, int mode);

// dst = src through ipDenoise.
TARVO_EXPORTS void denoise(const Mat& src, Mat& dst, float strength, int method);
// Glow: luminance raised by gain and lift (w = Y * gain + Y + lift * 0.2 / 0.65
// * 255, above 255 gives 255), brightened by 40, luminance-stretched and
// smoothed by a 3 x 3 box. dst takes src's size and type; byte images of 1, 3
// or 4 channels (a fourth channel is copied), others leave dst untouched.
TARVO_EXPORTS void bloom(const Mat& src, Mat& dst, float lift, float gain);

}  // namespace ip
}  // namespace tarvo
