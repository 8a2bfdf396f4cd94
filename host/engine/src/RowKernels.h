// The per-row loops of the engine's resizing kernels. On x86-64 processors that have AVX2 they run
// eight floats wide, chosen once per process; elsewhere they are portable C++ for the compiler to
// vectorise as it can. Both forms do the same single-precision operations in the same order, with
// no fused multiply-add, so a result never depends on the processor that computed it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ModelGraph.h"
#include "ResizeTaps.h"

#if defined(__x86_64__)
#define HOSTENGINE_ROW_KERNELS_AVX2 1
#endif

namespace hostengine {

// Whether this process runs the AVX2 forms.
bool rowKernelsUseAvx2();

// One row of interleaved pixels resampled across: output element j, channel c of pixel x, is
// in[l] + (in[r] - in[l]) * w, where l and r are channel c of the pixels column x's tap blends and
// w is the tap's weight.
class RowResampler {
  public:
    RowResampler() = default;
    // `channels` per pixel; `inputFloats`: how many floats of each input row may be read.
    RowResampler(const std::vector<ResizeTap>& columns, int32_t channels, size_t inputFloats);

    void run(const float* in, float* out) const;

  private:
    // Eight outputs whose inputs all lie in the sixteen floats from `base`: two loads and four
    // permutes fetch them.
    struct alignas(32) Block {
        int32_t left[8];
        int32_t right[8];
        float weight[8];
        int32_t base;
    };

    void runPortable(const float* in, float* out, size_t from) const;
#if HOSTENGINE_ROW_KERNELS_AVX2
    void runAvx2(const float* in, float* out) const;
#endif

    std::vector<int32_t> left_;
    std::vector<int32_t> right_;
    std::vector<float> weight_;
    // The leading outputs in blocks of eight, up to the first block whose inputs are spread wider;
    // empty unless the AVX2 form runs.
    std::vector<Block> blocks_;
};

// Two rows of 8-bit frame values blended and dequantized: (upper + (lower - upper) * weight -
// zeroPoint) * scale, the blend made on the integer values converted to float.
void blendFrameRows(const uint8_t* upper, const uint8_t* lower, float weight, float zeroPoint,
                    float scale, float* to, size_t count);
void blendFrameRows(const int8_t* upper, const int8_t* lower, float weight, float zeroPoint,
                    float scale, float* to, size_t count);

// One output row of `width` labels: two resized rows blended vertically by `weight`, compared with
// `threshold` (greater, or greater or equal) and cast to `labels`, written to `row` unaligned.
void blendLabelRow(const float* upper, const float* lower, float weight, float threshold,
                   bool orEqual, ElementType labels, uint8_t* row, size_t width);

}  // namespace hostengine
