#include "MaskImages.h"

#include <libyuv/rotate.h>
#include <libyuv/scale.h>

#include <algorithm>
#include <cstdio>

#include "BodySegmentAPI.h"
#include "Turn.h"

namespace bodyseg {

namespace {

// Tint strength of labelled pixels: the picture stays recognisable underneath.
constexpr int kTintPercent = 45;

// Pixels within `radius` (box distance) of a set pixel of `marks`, by running counts along the
// rows and then the columns.
std::vector<uint8_t> dilate(const std::vector<uint8_t>& marks, int width, int height, int radius) {
    std::vector<uint8_t> rows(marks.size(), 0);
    std::vector<int> sums(static_cast<size_t>(std::max(width, height)) + 1);
    auto spread = [&](auto at, int length) {
        sums[0] = 0;
        for (int i = 0; i < length; ++i)
            sums[i + 1] = sums[i] + at(i);
        for (int i = 0; i < length; ++i) {
            const int lo = std::max(0, i - radius);
            const int hi = std::min(length, i + radius + 1);
            at(i) = sums[hi] - sums[lo] > 0;
        }
    };
    for (int y = 0; y < height; ++y) {
        const size_t row = static_cast<size_t>(y) * width;
        for (int x = 0; x < width; ++x)
            rows[row + x] = marks[row + x];
        spread([&](int x) -> uint8_t& { return rows[row + x]; }, width);
    }
    for (int x = 0; x < width; ++x) {
        spread([&](int y) -> uint8_t& { return rows[static_cast<size_t>(y) * width + x]; }, height);
    }
    return rows;
}

// Pixels whose label differs from a 4-neighbour's.
std::vector<uint8_t> borders(const std::vector<uint8_t>& labels, int width, int height) {
    std::vector<uint8_t> marks(labels.size(), 0);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const size_t i = static_cast<size_t>(y) * width + x;
            const bool right = x + 1 < width && labels[i + 1] != labels[i];
            const bool below = y + 1 < height && labels[i + width] != labels[i];
            if (right)
                marks[i] = marks[i + 1] = 1;
            if (below)
                marks[i] = marks[i + width] = 1;
        }
    }
    return marks;
}

uint8_t mix(uint8_t picture, uint8_t tint) {
    return static_cast<uint8_t>((picture * (100 - kTintPercent) + tint * kTintPercent) / 100);
}

}  // namespace

const std::array<Rgb, 256>& labelPalette() {
    static const std::array<Rgb, 256> palette = [] {
        static const Rgb kColours[15] = {
            {230, 25, 75},  {60, 180, 75},   {255, 225, 25}, {0, 130, 200},   {245, 130, 48},
            {145, 30, 180}, {70, 240, 240},  {240, 50, 230}, {210, 245, 60},  {250, 190, 212},
            {0, 128, 128},  {220, 190, 255}, {170, 110, 40}, {255, 250, 200}, {128, 0, 0},
        };
        std::array<Rgb, 256> colours{};
        for (size_t label = 1; label < colours.size(); ++label)
            colours[label] = kColours[(label - 1) % 15];
        return colours;
    }();
    return palette;
}

std::vector<uint8_t> uprightLabels(const uint8_t* mask, int orientation, int width, int height) {
    const bool swap = swapsSides(orientation);
    const int turnedWidth = swap ? BODYSEG_MASK_HEIGHT : BODYSEG_MASK_WIDTH;
    const int turnedHeight = swap ? BODYSEG_MASK_WIDTH : BODYSEG_MASK_HEIGHT;
    std::vector<uint8_t> turned(BODYSEG_MASK_BYTES);
    libyuv::RotatePlane(mask, BODYSEG_MASK_WIDTH, turned.data(), turnedWidth, BODYSEG_MASK_WIDTH,
                        BODYSEG_MASK_HEIGHT, clockwiseTurn(orientation));
    std::vector<uint8_t> scaled(static_cast<size_t>(width) * static_cast<size_t>(height));
    libyuv::ScalePlane(turned.data(), turnedWidth, turnedWidth, turnedHeight, scaled.data(), width,
                       width, height, libyuv::kFilterNone);
    return scaled;
}

RgbImage overlay(const RgbImage& picture, const std::vector<uint8_t>& labels) {
    const std::array<Rgb, 256>& palette = labelPalette();
    const int width = picture.width;
    const int height = picture.height;
    const int radius = std::max(0, std::min(width, height) / 200 - 1);
    const std::vector<uint8_t> outline =
        dilate(borders(labels, width, height), width, height, radius);
    RgbImage out = picture;
    for (size_t i = 0; i < labels.size(); ++i) {
        if (labels[i] == 0)
            continue;
        const Rgb& colour = palette[labels[i]];
        uint8_t* pixel = &out.pixels[i * 3];
        for (int c = 0; c < 3; ++c)
            pixel[c] = outline[i] ? colour[c] : mix(pixel[c], colour[c]);
    }
    return out;
}

std::string labelShares(const uint8_t* mask, size_t size) {
    size_t counts[256] = {};
    for (size_t i = 0; i < size; ++i)
        ++counts[mask[i]];
    std::string text;
    for (int label = 0; label < 256; ++label) {
        if (counts[label] == 0)
            continue;
        char share[32];
        std::snprintf(share, sizeof share, "%s%d %.1f%%", text.empty() ? "" : ", ", label,
                      100.0 * static_cast<double>(counts[label]) / static_cast<double>(size));
        text += share;
    }
    return text;
}

}  // namespace bodyseg
