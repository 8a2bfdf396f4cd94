#include "FrameHead.h"

#include <algorithm>

#include "Partition.h"

namespace hostengine {

namespace {

bool isQuantized8(const GraphTensor& t) {
    return (t.type == ElementType::Uint8 || t.type == ElementType::Int8) &&
           t.quantization.present && !t.quantization.perChannel;
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
    return resizeScratchFits(frame.shape[0], out[1], int64_t{frame.shape[2]} * kChannels);
}

FrameHead::FrameHead(const Graph& graph, const GraphOperator& dequantize,
                     const GraphOperator& resize, KernelForm form)
    : dequantize_(dequantize), resize_(resize), form_(form) {
    const GraphTensor& frame = graph.tensors[dequantize.inputs[0]];
    const auto& out = graph.tensors[resize.outputs[0]].shape;
    signedInput_ = frame.type == ElementType::Int8;
    scale_ = frame.quantization.scale;
    zeroPoint_ = static_cast<float>(frame.quantization.zeroPoint);
    batches_ = frame.shape[0];
    inHeight_ = frame.shape[1];
    inWidth_ = frame.shape[2];
    rows_ = resizeTaps(inHeight_, out[1], resize.options);
    blendedStride_ = static_cast<size_t>(inWidth_) * kChannels;
    columns_ =
        RowResampler(resizeTaps(inWidth_, out[2], resize.options), kChannels, blendedStride_, form);
    outRow_ = static_cast<size_t>(out[2]) * kChannels;
    bandsPerImage_ = (rows_.size() + kResizeBandRows - 1) / kResizeBandRows;
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
    const size_t inRow = blendedStride_;
    const T* frame = reinterpret_cast<const T*>((*data_)[dequantize_.inputs[0]]) +
                     batch * static_cast<size_t>(inHeight_) * inRow;
    float* out =
        reinterpret_cast<float*>((*data_)[resize_.outputs[0]]) + batch * rows_.size() * outRow_;
    float* blended = blended_.data() + band * blendedStride_;
    for (size_t y = firstRow; y < endRow; ++y) {
        const ResizeTap& tap = rows_[y];
        blendFrameRows(form_, frame + tap.first * inRow, frame + tap.second * inRow, tap.weight,
                       zeroPoint_, scale_, blended, inRow);
        columns_.run(blended, out + y * outRow_);
    }
}

}  // namespace hostengine
