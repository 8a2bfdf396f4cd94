// libyuv converts RGB to YUV with different chroma on x86 and on ARM. Its row code, the C rows
// included, takes the 2x2 chroma average as two rounded byte averages and truncates the U and V
// sums on x86 (to match its SSSE3 and AVX2 rows), while on ARM it sums the four pixels and rounds.
// Luma is the same everywhere. The plug-in only converts the other way (YUV to RGB, the same bytes
// on every architecture); the camera-host tool's photo frames (bodyseg::frameFromPhoto, through
// RAWToI420) are where it shows: the same photo makes a frame whose chroma differs by a step
// between x86-64 and ARM.
#include <gtest/gtest.h>
#include <libyuv.h>

#include <algorithm>

#include "MaskDigest.h"

namespace portability {
namespace {

struct Chroma {
    uint8_t u;
    uint8_t v;
};

struct ColourCase {
    const char* name;
    uint8_t rgb[3];
    uint8_t y;
    Chroma x86;
    Chroma arm;
};

const ColourCase kColours[] = {
    {"red", {255, 0, 0}, 82, {90, 239}, {90, 240}},
    {"blue", {0, 0, 255}, 41, {239, 110}, {240, 110}},
    {"dark slate", {10, 20, 30}, 32, {133, 122}, {134, 123}},
    {"green", {0, 255, 0}, 144, {54, 34}, {54, 34}},
    {"white", {255, 255, 255}, 235, {128, 128}, {128, 128}},
};

Chroma expectedHere(const ColourCase& colour) {
#if defined(__x86_64__) || defined(__i386__)
    return colour.x86;
#else
    return colour.arm;
#endif
}

// One 2x2 block of a single colour, as the RAW (red, green, blue in memory) rows of a photo.
TEST(LibyuvRgbToYuv, RAWToI420RoundsChromaTheWayOfTheArchitecture) {
    for (const ColourCase& colour : kColours) {
        uint8_t raw[2 * 2 * 3];
        for (int pixel = 0; pixel < 4; ++pixel)
            std::copy(colour.rgb, colour.rgb + 3, raw + 3 * pixel);
        uint8_t y[4];
        Chroma got{};
        ASSERT_EQ(libyuv::RAWToI420(raw, 6, y, 2, &got.u, 1, &got.v, 1, 2, 2), 0);
        for (uint8_t luma : y)
            EXPECT_EQ(luma, colour.y) << colour.name;
        EXPECT_EQ(got.u, expectedHere(colour).u) << colour.name << " on " << kArchitecture;
        EXPECT_EQ(got.v, expectedHere(colour).v) << colour.name << " on " << kArchitecture;
    }
}

}  // namespace
}  // namespace portability
