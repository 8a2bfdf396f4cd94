#include "ExpectedMasks.h"

#include <cstring>

namespace e2e {

int quadrantLabel(int px, int py) {
    return (py >= kNetHeight / 2 ? 2 : 0) + (px >= kNetWidth / 2 ? 1 : 0);
}

std::vector<uint8_t> quadrantOutputInt32() {
    std::vector<uint8_t> bytes(kNetWidth * kNetHeight * 4);
    for (int py = 0; py < kNetHeight; ++py) {
        for (int px = 0; px < kNetWidth; ++px) {
            const int32_t label = quadrantLabel(px, py);
            std::memcpy(&bytes[4 * (py * kNetWidth + px)], &label, sizeof(label));
        }
    }
    return bytes;
}

void networkPositionOf(int orientation, int x, int y, int* px, int* py) {
    if (orientation == 90 || orientation == 180) {
        // The landscape picture was turned a quarter clockwise: its left column became the top row.
        *px = kMaskHeight - 1 - y;
        *py = x;
    } else {
        *px = y;
        *py = kMaskWidth - 1 - x;
    }
}

std::vector<uint8_t> expectedQuadrantMask(int orientation) {
    std::vector<uint8_t> mask(kMaskWidth * kMaskHeight);
    for (int y = 0; y < kMaskHeight; ++y) {
        for (int x = 0; x < kMaskWidth; ++x) {
            int px = 0;
            int py = 0;
            networkPositionOf(orientation, x, y, &px, &py);
            mask[y * kMaskWidth + x] = shifted(static_cast<uint8_t>(quadrantLabel(px, py)));
        }
    }
    return mask;
}

uint8_t shifted(uint8_t label) {
    return label == 0 ? 0 : static_cast<uint8_t>(label + 1);
}

}  // namespace e2e
