// The per-row loops of the engine's resizing kernels, in the vector forms of `KernelForm`: on
// x86-64, eight floats wide with AVX2 and sixteen with AVX-512 (which keeps AVX2 for the label
// rows); elsewhere portable C++ for the compiler to vectorise as it can. Every form does the same
// single-precision operations in the same order, with no fused multiply-add, so a result never
// depends on the form or the processor that computed it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "HostEngine.h"
#include "ModelGraph.h"
#include "ResizeTaps.h"

#if defined(__x86_64__)
#define HOSTENGINE_X86_KERNELS 1
#endif

namespace hostengine {

// The widest form this processor runs, at most `widest`.
KernelForm kernelFormFor(KernelForm widest);

// One row of interleaved pixels resampled across: output element j, channel c of pixel x, is
// in[l] + (in[r] - in[l]) * w, where l and r are channel c of the pixels column x's tap blends and
// w is the tap's weight.
class RowResampler {
  public:
    RowResampler() = default;
    // `channels` per pixel; `inputFloats`: how many floats of each input row may be read.
    RowResampler(const std::vector<ResizeTap>& columns, int32_t channels, size_t inputFloats,
                 KernelForm form);

    void run(const float* in, float* out) const;

  private:
    // A vector of outputs whose inputs all lie in the two vectors of floats from `base`: two loads
    // and a permute per operand fetch them. AVX2 uses the first eight lanes.
    struct alignas(64) Block {
        int32_t left[16];
        int32_t right[16];
        float weight[16];
        int32_t base;
    };

    void runPortable(const float* in, float* out, size_t from) const;
#if HOSTENGINE_X86_KERNELS
    void runAvx2(const float* in, float* out) const;
    void runAvx512(const float* in, float* out) const;
#endif

    KernelForm form_ = KernelForm::Portable;
    std::vector<int32_t> left_;
    std::vector<int32_t> right_;
    std::vector<float> weight_;
    // The leading outputs in blocks of a vector each, up to the first block whose inputs are
    // spread wider; empty in the portable form.
    std::vector<Block> blocks_;
    size_t lanes_ = 0;
};

// Two rows of 8-bit frame values blended and dequantized: (upper + (lower - upper) * weight -
// zeroPoint) * scale, the blend made on the integer values converted to float.
void blendFrameRows(KernelForm form, const uint8_t* upper, const uint8_t* lower, float weight,
                    float zeroPoint, float scale, float* to, size_t count);
void blendFrameRows(KernelForm form, const int8_t* upper, const int8_t* lower, float weight,
                    float zeroPoint, float scale, float* to, size_t count);

// One output row of `width` labels: two resized rows blended vertically by `weight`, compared with
// `threshold` (greater, or greater or equal) and cast to `labels`, written to `row` unaligned.
void blendLabelRow(KernelForm form, const float* upper, const float* lower, float weight,
                   float threshold, bool orEqual, ElementType labels, uint8_t* row, size_t width);

}  // namespace hostengine
