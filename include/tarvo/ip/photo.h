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

}  // namespace ip
}  // namespace tarvo
