#include "RowKernels.h"

#include <algorithm>
#include <cstring>
#include <functional>

#include "ElementAccess.h"

#if HOSTENGINE_X86_KERNELS
#include <immintrin.h>
#endif

namespace hostengine {

namespace {

template <typename T>
__attribute__((always_inline)) inline void blendFrame(const T* __restrict upper,
                                                      const T* __restrict lower, float weight,
                                                      float zeroPoint, float scale,
                                                      float* __restrict to, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const float a = upper[i];
        to[i] = (a + (static_cast<float>(lower[i]) - a) * weight - zeroPoint) * scale;
    }
}

#if HOSTENGINE_X86_KERNELS
template <typename T>
__attribute__((target("avx2"))) void blendFrameAvx2(const T* upper, const T* lower, float weight,
                                                    float zeroPoint, float scale, float* to,
                                                    size_t count) {
    blendFrame(upper, lower, weight, zeroPoint, scale, to, count);
}

// Sixteen frame values widened to float. (The zero-masked conversions with every lane selected are
// the plain ones; GCC 12 warns of an uninitialised operand inside the plain ones' definitions.)
constexpr __mmask16 kAllLanes = 0xFFFF;
__attribute__((target("avx512f"))) inline __m512 widen(const uint8_t* values) {
    return _mm512_maskz_cvtepi32_ps(
        kAllLanes, _mm512_maskz_cvtepu8_epi32(
                       kAllLanes, _mm_loadu_si128(reinterpret_cast<const __m128i*>(values))));
}
__attribute__((target("avx512f"))) inline __m512 widen(const int8_t* values) {
    return _mm512_maskz_cvtepi32_ps(
        kAllLanes, _mm512_maskz_cvtepi8_epi32(
                       kAllLanes, _mm_loadu_si128(reinterpret_cast<const __m128i*>(values))));
}

// Sixteen at a time, the same operations in the same order as blendFrame, which does the rest.
template <typename T>
__attribute__((target("avx512f"))) void blendFrameAvx512(const T* upper, const T* lower,
                                                         float weight, float zeroPoint, float scale,
                                                         float* to, size_t count) {
    const __m512 w = _mm512_set1_ps(weight);
    const __m512 z = _mm512_set1_ps(zeroPoint);
    const __m512 s = _mm512_set1_ps(scale);
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m512 a = widen(upper + i);
        const __m512 blended =
            _mm512_add_ps(a, _mm512_mul_ps(_mm512_sub_ps(widen(lower + i), a), w));
        _mm512_storeu_ps(to + i, _mm512_mul_ps(_mm512_sub_ps(blended, z), s));
    }
    blendFrame(upper + i, lower + i, weight, zeroPoint, scale, to + i, count - i);
}

// Lane k of the result is float idx[k] of the sixteen in `low` and `high`: the permute reads the
// low three bits of each index, the blend the fourth, moved up to the sign bit it tests.
__attribute__((target("avx2"))) inline __m256 pick(__m256 low, __m256 high, __m256i idx) {
    return _mm256_blendv_ps(_mm256_permutevar8x32_ps(low, idx), _mm256_permutevar8x32_ps(high, idx),
                            _mm256_castsi256_ps(_mm256_slli_epi32(idx, 28)));
}
#endif

template <typename T>
void blendFrameRowsOf([[maybe_unused]] KernelForm form, const T* upper, const T* lower,
                      float weight, float zeroPoint, float scale, float* to, size_t count) {
#if HOSTENGINE_X86_KERNELS
    if (form == KernelForm::Avx512) {
        blendFrameAvx512(upper, lower, weight, zeroPoint, scale, to, count);
        return;
    }
    if (form == KernelForm::Avx2) {
        blendFrameAvx2(upper, lower, weight, zeroPoint, scale, to, count);
        return;
    }
#endif
    blendFrame(upper, lower, weight, zeroPoint, scale, to, count);
}

// The labels of a block go through a local array, which nothing else can alias, so that the
// compiler vectorises the block.
template <typename To, typename Compare>
void blendLabels(const float* __restrict upper, const float* __restrict lower, float weight,
                 float threshold, uint8_t* __restrict row, size_t width, Compare compare) {
    constexpr size_t kBlock = 16;
    To block[kBlock];
    for (size_t x = 0; x < width; x += kBlock) {
        const size_t count = std::min(kBlock, width - x);
        for (size_t k = 0; k < count; ++k) {
            const float value = upper[x + k] + (lower[x + k] - upper[x + k]) * weight;
            block[k] = elements::convertValue<To>(compare(value, threshold));
        }
        std::memcpy(row + x * sizeof(To), block, count * sizeof(To));
    }
}

#if HOSTENGINE_X86_KERNELS
// Eight truth values of the blend as all-ones or all-zero lanes; an unordered (NaN) blend is false,
// as the scalar comparisons have it.
template <int kPredicate>
__attribute__((target("avx2"))) inline __m256i compareBlend(const float* upper, const float* lower,
                                                            __m256 weight, __m256 threshold) {
    const __m256 u = _mm256_loadu_ps(upper);
    const __m256 value =
        _mm256_add_ps(u, _mm256_mul_ps(_mm256_sub_ps(_mm256_loadu_ps(lower), u), weight));
    return _mm256_castps_si256(_mm256_cmp_ps(value, threshold, kPredicate));
}

// Byte labels (UINT8, INT8, BOOL: 0 or 1), 32 and then 8 at a time; returns how many it wrote.
template <int kPredicate>
__attribute__((target("avx2"))) size_t blendByteLabelsAvx2(const float* upper, const float* lower,
                                                           float weight, float threshold,
                                                           uint8_t* row, size_t width) {
    const __m256 w = _mm256_set1_ps(weight);
    const __m256 t = _mm256_set1_ps(threshold);
    const __m256i one = _mm256_set1_epi8(1);
    // The packs below interleave their 128-bit halves; this puts the four groups back in order.
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    size_t x = 0;
    for (; x + 32 <= width; x += 32) {
        __m256i truth[4];
        for (int q = 0; q < 4; ++q) {
            truth[q] = compareBlend<kPredicate>(upper + x + 8 * q, lower + x + 8 * q, w, t);
        }
        const __m256i bytes = _mm256_packs_epi16(_mm256_packs_epi32(truth[0], truth[1]),
                                                 _mm256_packs_epi32(truth[2], truth[3]));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(row + x),
                            _mm256_and_si256(_mm256_permutevar8x32_epi32(bytes, order), one));
    }
    for (; x + 8 <= width; x += 8) {
        const __m256i truth = compareBlend<kPredicate>(upper + x, lower + x, w, t);
        const __m128i words =
            _mm_packs_epi32(_mm256_castsi256_si128(truth), _mm256_extracti128_si256(truth, 1));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(row + x),
                         _mm_and_si128(_mm_packs_epi16(words, words), _mm256_castsi256_si128(one)));
    }
    return x;
}

// INT32 labels, eight at a time; returns how many it wrote.
template <int kPredicate>
__attribute__((target("avx2"))) size_t blendInt32LabelsAvx2(const float* upper, const float* lower,
                                                            float weight, float threshold,
                                                            uint8_t* row, size_t width) {
    const __m256 w = _mm256_set1_ps(weight);
    const __m256 t = _mm256_set1_ps(threshold);
    const __m256i one = _mm256_set1_epi32(1);
    size_t x = 0;
    for (; x + 8 <= width; x += 8) {
        const __m256i truth = compareBlend<kPredicate>(upper + x, lower + x, w, t);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(row + x * 4), _mm256_and_si256(truth, one));
    }
    return x;
}

// How many leading labels of the row the AVX2 forms wrote (0 for the label types they leave to
// the portable form).
size_t blendLabelsAvx2(const float* upper, const float* lower, float weight, float threshold,
                       bool orEqual, ElementType labels, uint8_t* row, size_t width) {
    switch (labels) {
        case ElementType::Uint8:
        case ElementType::Int8:
        case ElementType::Bool:
            return orEqual ? blendByteLabelsAvx2<_CMP_GE_OQ>(upper, lower, weight, threshold, row,
                                                             width)
                           : blendByteLabelsAvx2<_CMP_GT_OQ>(upper, lower, weight, threshold, row,
                                                             width);
        case ElementType::Int32:
            return orEqual ? blendInt32LabelsAvx2<_CMP_GE_OQ>(upper, lower, weight, threshold, row,
                                                              width)
                           : blendInt32LabelsAvx2<_CMP_GT_OQ>(upper, lower, weight, threshold, row,
                                                              width);
        default:
            return 0;
    }
}
#endif

}  // namespace

KernelForm kernelFormFor([[maybe_unused]] KernelForm widest) {
#if HOSTENGINE_X86_KERNELS
    // The AVX-512 form writes label rows with AVX2.
    static const KernelForm processor =
        __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx2") ? KernelForm::Avx512
        : __builtin_cpu_supports("avx2")                                    ? KernelForm::Avx2
                                                                            : KernelForm::Portable;
    return std::min(widest, processor);
#else
    return KernelForm::Portable;
#endif
}

RowResampler::RowResampler(const std::vector<ResizeTap>& columns, int32_t channels,
                           size_t inputFloats, KernelForm form)
    : form_(form) {
    for (const ResizeTap& tap : columns) {
        for (int32_t c = 0; c < channels; ++c) {
            left_.push_back(tap.first * channels + c);
            right_.push_back(tap.second * channels + c);
            weight_.push_back(tap.weight);
        }
    }
    lanes_ = form == KernelForm::Avx512 ? 16 : form == KernelForm::Avx2 ? 8 : 0;
    const size_t window = 2 * lanes_;
    if (lanes_ == 0 || inputFloats < window) {
        return;
    }
    for (size_t j = 0; j + lanes_ <= left_.size(); j += lanes_) {
        const int32_t low = *std::min_element(left_.begin() + j, left_.begin() + j + lanes_);
        const int32_t high = *std::max_element(right_.begin() + j, right_.begin() + j + lanes_);
        // The window ends inside the row, so a block near its end starts before its first input.
        const int32_t base = std::min(low, static_cast<int32_t>(inputFloats - window));
        if (high - base >= static_cast<int32_t>(window)) {
            break;
        }
        Block block;
        block.base = base;
        for (size_t k = 0; k < lanes_; ++k) {
            block.left[k] = left_[j + k] - base;
            block.right[k] = right_[j + k] - base;
            block.weight[k] = weight_[j + k];
        }
        blocks_.push_back(block);
    }
}

void RowResampler::run(const float* in, float* out) const {
#if HOSTENGINE_X86_KERNELS
    if (form_ == KernelForm::Avx512) {
        runAvx512(in, out);
    } else if (form_ == KernelForm::Avx2) {
        runAvx2(in, out);
    }
#endif
    runPortable(in, out, blocks_.size() * lanes_);
}

void RowResampler::runPortable(const float* __restrict in, float* __restrict out,
                               size_t from) const {
    for (size_t j = from; j < weight_.size(); ++j) {
        const float left = in[left_[j]];
        out[j] = left + (in[right_[j]] - left) * weight_[j];
    }
}

#if HOSTENGINE_X86_KERNELS
__attribute__((target("avx2"))) void RowResampler::runAvx2(const float* in, float* out) const {
    for (const Block& block : blocks_) {
        const float* window = in + block.base;
        const __m256 low = _mm256_loadu_ps(window);
        const __m256 high = _mm256_loadu_ps(window + 8);
        const __m256 left =
            pick(low, high, _mm256_load_si256(reinterpret_cast<const __m256i*>(block.left)));
        const __m256 right =
            pick(low, high, _mm256_load_si256(reinterpret_cast<const __m256i*>(block.right)));
        const __m256 blended = _mm256_add_ps(
            left, _mm256_mul_ps(_mm256_sub_ps(right, left), _mm256_load_ps(block.weight)));
        _mm256_storeu_ps(out, blended);
        out += 8;
    }
}
#endif

#if HOSTENGINE_X86_KERNELS
__attribute__((target("avx512f"))) void RowResampler::runAvx512(const float* in, float* out) const {
    for (const Block& block : blocks_) {
        const float* window = in + block.base;
        const __m512 low = _mm512_loadu_ps(window);
        const __m512 high = _mm512_loadu_ps(window + 16);
        const __m512 left = _mm512_permutex2var_ps(low, _mm512_load_si512(block.left), high);
        const __m512 right = _mm512_permutex2var_ps(low, _mm512_load_si512(block.right), high);
        const __m512 blended = _mm512_add_ps(
            left, _mm512_mul_ps(_mm512_sub_ps(right, left), _mm512_load_ps(block.weight)));
        _mm512_storeu_ps(out, blended);
        out += 16;
    }
}
#endif

void blendFrameRows(KernelForm form, const uint8_t* upper, const uint8_t* lower, float weight,
                    float zeroPoint, float scale, float* to, size_t count) {
    blendFrameRowsOf(form, upper, lower, weight, zeroPoint, scale, to, count);
}

void blendFrameRows(KernelForm form, const int8_t* upper, const int8_t* lower, float weight,
                    float zeroPoint, float scale, float* to, size_t count) {
    blendFrameRowsOf(form, upper, lower, weight, zeroPoint, scale, to, count);
}

void blendLabelRow([[maybe_unused]] KernelForm form, const float* upper, const float* lower,
                   float weight, float threshold, bool orEqual, ElementType labels, uint8_t* row,
                   size_t width) {
    size_t done = 0;
#if HOSTENGINE_X86_KERNELS
    if (form != KernelForm::Portable) {
        done = blendLabelsAvx2(upper, lower, weight, threshold, orEqual, labels, row, width);
    }
#endif
    if (done == width) {
        return;
    }
    elements::dispatch(labels, [&](auto tag) {
        using To = typename decltype(tag)::type;
        uint8_t* rest = row + done * sizeof(To);
        if (orEqual) {
            blendLabels<To>(upper + done, lower + done, weight, threshold, rest, width - done,
                            std::greater_equal<float>());
        } else {
            blendLabels<To>(upper + done, lower + done, weight, threshold, rest, width - done,
                            std::greater<float>());
        }
    });
}

}  // namespace hostengine
