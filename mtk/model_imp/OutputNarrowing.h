// Narrowing of a raw output tensor to one label byte per element, shared by both backends. Each
// function handles the whole 4-byte elements of `bytes` and ignores a trailing remainder; `dst`
// holds at least bytes / 4 bytes. No allocation, one pass.
#pragma once

#include <cstdint>

namespace bodysegment {

// Float32 elements: above 255 gives 255, below 0 gives 0, others truncate toward zero; NaN gives 0.
void narrowFloat32(const unsigned char* src, uint32_t bytes, unsigned char* dst);

// 32-bit integer elements: the low byte of each, without clamping (256 gives 0, -1 gives 255).
void narrowInt32LowByte(const unsigned char* src, uint32_t bytes, unsigned char* dst);

}  // namespace bodysegment
