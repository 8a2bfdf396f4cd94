#include "FrameHead.h"

#include <algorithm>
#include <cstring>

#include "Partition.h"

namespace hostengine {

namespace {

bool isQuantized8(const GraphTensor& t) {
    return (t.type == ElementType::Uint8 || t.type == ElementType::Int8) &&
           t.quantization.present && !t.quantization.perChannel;
}

// One frame row blended with the next one below it and dequantized: (blend - zero point) * scale,
// the same affine map the dequantize applies before the resize blends.
template <typename T>
void blendRows(const T* __restrict upper, const T* __restrict lower, float weight, float zeroPoint,
               float scale, float* __restrict to, size_t count) {
    constexpr size_t kBlock = 16;
    size_t i = 0;
    for (; i + kBlock <= count; i += kBlock) {
        for (size_t k = 0; k < kBlock; ++k) {
            const float a = upper[i + k];
            to[i + k] = (a + (static_cast<float>(lower[i + k]) - a) * weight - zeroPoint) * scale;
        }
    }
    for (; i < count; ++i) {
        const float a = upper[i];
        to[i] = (a + (static_cast<float>(lower[i]) - a) * weight - zeroPoint) * scale;
    }
}

// One output pixel from the two blended pixels its column tap names, four floats wide.
inline void resample(const float* blended, const ResizeTap& tap, float* pixel) {
    const float* left = blended + tap.first * 3;
    const float* right = blended + tap.second * 3;
    for (int c = 0; c < 4; ++c) {
        pixel[c] = left[c] + (right[c] - left[c]) * tap.weight;
    }
}

}  // namespace

bool FrameHead::fits(const Graph& graph, const GraphOperator& dequantize,
                     const GraphOperator& resize) {
    if (dequantize.kind != OpKind::Dequantize || resize.kind != OpKind::ResizeBilinear ||
        resize.inputs[0] != dequantize.outputs[0]) {
        return false;
    }
    const GraphTensor& frame = graph.tensors[dequantize.inputs[0]];
    const int map = dequantize.outputs[0];
    if (!isQuantized8(frame) || frame.shape.size() != 4 || frame.shape[3] != kChannels ||
        frame.shape[1] <= 0 || frame.shape[2] <= 0 || !readOnlyOnce(graph, map)) {
        return false;
    }
    const auto& out = graph.tensors[resize.outputs[0]].shape;
    return resizeScratchFits(frame.shape[0], out[1], int64_t{frame.shape[2]} * kChannels + 1);
}

FrameHead::FrameHead(const Graph& graph, const GraphOperator& dequantize,
                     const GraphOperator& resize)
    : dequantize_(dequantize), resize_(resize) {
    const GraphTensor& frame = graph.tensors[dequantize.inputs[0]];
    const auto& out = graph.tensors[resize.outputs[0]].shape;
    signedInput_ = frame.type == ElementType::Int8;
    scale_ = frame.quantization.scale;
    zeroPoint_ = static_cast<float>(frame.quantization.zeroPoint);
    batches_ = frame.shape[0];
    inHeight_ = frame.shape[1];
    inWidth_ = frame.shape[2];
    rows_ = resizeTaps(inHeight_, out[1], resize.options);
    columns_ = resizeTaps(inWidth_, out[2], resize.options);
    bandsPerImage_ = (rows_.size() + kResizeBandRows - 1) / kResizeBandRows;
    blendedStride_ = static_cast<size_t>(inWidth_) * kChannels + 1;
    blended_.resize(bandsPerImage_ * static_cast<size_t>(batches_) * blendedStride_);
}

void FrameHead::run(const std::vector<uint8_t*>& data, pthreadpool_t threadpool) {
    data_ = &data;
    pthreadpool_parallelize_1d(threadpool, &FrameHead::runBand, this,
                               bandsPerImage_ * static_cast<size_t>(batches_),
                               PTHREADPOOL_FLAG_DISABLE_DENORMALS);
    data_ = nullptr;
}

void FrameHead::runBand(void* head, size_t band) {
    FrameHead* self = static_cast<FrameHead*>(head);
    if (self->signedInput_) {
        self->writeBand<int8_t>(band);
    } else {
        self->writeBand<uint8_t>(band);
    }
}

template <typename T>
void FrameHead::writeBand(size_t band) {
    const size_t batch = band / bandsPerImage_;
    const size_t firstRow = band % bandsPerImage_ * kResizeBandRows;
    const size_t endRow = std::min(firstRow + kResizeBandRows, rows_.size());
    const size_t inRow = static_cast<size_t>(inWidth_) * kChannels;
    const size_t outRow = columns_.size() * kChannels;
    const T* frame = reinterpret_cast<const T*>((*data_)[dequantize_.inputs[0]]) +
                     batch * static_cast<size_t>(inHeight_) * inRow;
    float* out =
        reinterpret_cast<float*>((*data_)[resize_.outputs[0]]) + batch * rows_.size() * outRow;
    float* blended = blended_.data() + band * blendedStride_;
    blended[inRow] = 0.0f;  // the slack float, read for the last pixel's fourth lane
    for (size_t y = firstRow; y < endRow; ++y) {
        const ResizeTap& tap = rows_[y];
        blendRows(frame + tap.first * inRow, frame + tap.second * inRow, tap.weight, zeroPoint_,
                  scale_, blended, inRow);
        // Each pixel is computed four floats wide, the fourth being the next pixel's first
        // channel, which that pixel then overwrites; the last pixel of a row writes its three.
        float* to = out + y * outRow;
        const size_t last = columns_.size() - 1;
        float pixel[kChannels + 1];
        for (size_t x = 0; x < last; ++x) {
            resample(blended, columns_[x], pixel);
            std::memcpy(to + x * kChannels, pixel, sizeof pixel);
        }
        resample(blended, columns_[last], pixel);
        std::memcpy(to + last * kChannels, pixel, kChannels * sizeof(float));
    }
}

}  // namespace hostengine
