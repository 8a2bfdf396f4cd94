// IEEE 754 half precision to and from single precision, for float16 weights.
#pragma once

#include <cstdint>

namespace hostengine {

float halfToFloat(uint16_t half);
// Rounds to nearest even; out-of-range values become infinities, NaN stays NaN.
uint16_t floatToHalf(float value);

}  // namespace hostengine
