// Files to and from memory: whole files, PNG and JPEG photos as 8-bit RGB pictures (red, green,
// blue in memory, no row padding), and PNG output. Every failure comes back as one message that
// names the file.
#pragma once

#include <stdint.h>

#include <array>
#include <string>
#include <vector>

namespace bodyseg {

struct RgbImage {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels;  // width * height * 3

    uint8_t* at(int x, int y) { return &pixels[(static_cast<size_t>(y) * width + x) * 3]; }
    const uint8_t* at(int x, int y) const {
        return &pixels[(static_cast<size_t>(y) * width + x) * 3];
    }
};

using Rgb = std::array<uint8_t, 3>;
static_assert(sizeof(Rgb) == 3, "palettes are handed to libpng as packed RGB triples");

// The whole file; a regular file only.
bool readFile(const std::string& path, std::vector<uint8_t>* bytes, std::string* error);

// A PNG (any colour type and depth; transparent pixels over black) or a JPEG, told apart by the
// file's signature, not its name. A JPEG that libjpeg could only decode with a warning (for
// example a truncated file) is refused rather than shown with invented pixels.
bool readPhoto(const std::string& path, RgbImage* image, std::string* error);

bool writePng(const std::string& path, const RgbImage& image, std::string* error);

// An 8-bit palette PNG whose pixel indices are the bytes of `indices` (width * height, no row
// padding): viewers show the palette colours, image libraries read back the exact bytes.
bool writeIndexedPng(const std::string& path, const uint8_t* indices, int width, int height,
                     const std::array<Rgb, 256>& palette, std::string* error);

}  // namespace bodyseg
