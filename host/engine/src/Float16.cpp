#include "Float16.h"

#include <cstring>

namespace hostengine {

namespace {

uint32_t bitsOf(float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

float floatOf(uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

}  // namespace

float halfToFloat(uint16_t half) {
    const uint32_t sign = static_cast<uint32_t>(half & 0x8000u) << 16;
    const uint32_t exponent = (half >> 10) & 0x1fu;
    const uint32_t mantissa = half & 0x3ffu;
    if (exponent == 0x1f) {  // infinity or NaN
        return floatOf(sign | 0x7f800000u | (mantissa << 13));
    }
    if (exponent != 0) {  // normal: rebias the exponent from 15 to 127
        return floatOf(sign | ((exponent + 112) << 23) | (mantissa << 13));
    }
    // Zero or subnormal: mantissa * 2^-24, exact in single precision.
    const float magnitude = static_cast<float>(mantissa) * floatOf(0x33800000u);
    return floatOf(sign | bitsOf(magnitude));
}

uint16_t floatToHalf(float value) {
    const uint32_t bits = bitsOf(value);
    const uint16_t sign = static_cast<uint16_t>((bits >> 16) & 0x8000u);
    const uint32_t magnitude = bits & 0x7fffffffu;
    if (magnitude > 0x7f800000u) {  // NaN: keep it quiet
        return static_cast<uint16_t>(sign | 0x7e00u);
    }
    if (magnitude >= 0x477ff000u) {  // rounds to beyond the largest half: infinity
        return static_cast<uint16_t>(sign | 0x7c00u);
    }
    if (magnitude < 0x38800000u) {  // below the smallest normal half: a subnormal or zero
        // Adding 0.5 lets the FPU round the mantissa (to nearest even) into the low bits.
        const float shifted = floatOf(magnitude) + 0.5f;
        return static_cast<uint16_t>(sign | (bitsOf(shifted) - 0x3f000000u));
    }
    // Normal: rebias the exponent, then round the 13 dropped bits to nearest even.
    const uint32_t rebiased = magnitude - 0x38000000u;
    const uint32_t rounded = rebiased + 0x0fffu + ((rebiased >> 13) & 1u);
    return static_cast<uint16_t>(sign | (rounded >> 13));
}

}  // namespace hostengine
