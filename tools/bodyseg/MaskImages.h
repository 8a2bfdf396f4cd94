// Pictures made from the plug-in's mask: one colour per label, the mask brought to the upright
// picture, and the overlay of the labelled pixels on that picture.
#pragma once

#include <stdint.h>

#include <array>
#include <string>
#include <vector>

#include "ImageIo.h"

namespace bodyseg {

// Label 0 (background) is black; the labels after it get well-separated colours, repeating after
// fifteen. With the real model a person is label 2.
const std::array<Rgb, 256>& labelPalette();

// The 456x342 mask (sensor orientation, pitch 456) turned clockwise by `orientation` and scaled
// to width x height with the nearest label, so that it lies on the upright picture.
std::vector<uint8_t> uprightLabels(const uint8_t* mask, int orientation, int width, int height);

// `picture` with every labelled pixel tinted in its label's colour and each labelled region
// outlined in that colour (a line about 1/200 of the shorter side thick, at least one pixel).
// `labels` has the picture's size.
RgbImage overlay(const RgbImage& picture, const std::vector<uint8_t>& labels);

// "0 61.8%, 2 38.2%": the share of every label present in the mask, in label order.
std::string labelShares(const uint8_t* mask, size_t size);

}  // namespace bodyseg
