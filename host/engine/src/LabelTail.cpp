#include "LabelTail.h"

#include <algorithm>

#include "EdgeKernels.h"
#include "ElementAccess.h"
#include "Partition.h"
#include "RowKernels.h"

namespace hostengine {

bool LabelTail::fits(const Graph& graph, const GraphOperator& resize,
                     const GraphOperator& comparison, const GraphOperator& cast) {
    if (resize.kind != OpKind::ResizeBilinear || comparison.inputs[0] != resize.outputs[0] ||
        !castFusesWithThreshold(graph, comparison, cast)) {
        return false;
    }
    const int map = resize.outputs[0];
    const GraphTensor& in = graph.tensors[resize.inputs[0]];
    if (in.type != ElementType::Float32 || in.shape[3] != 1 || in.shape[1] <= 0 ||
        in.shape[2] <= 0 || !readOnlyOnce(graph, map)) {
        return false;
    }
    const auto& out = graph.tensors[map].shape;
    return resizeScratchFits(in.shape[0], out[1], int64_t{out[2]} * 2);
}

LabelTail::LabelTail(const Graph& graph, const GraphOperator& resize,
                     const GraphOperator& comparison, const GraphOperator& cast, KernelForm form)
    : resize_(resize),
      comparison_(comparison),
      cast_(cast),
      labelType_(graph.tensors[cast.outputs[0]].type),
      form_(form) {
    const auto& in = graph.tensors[resize.inputs[0]].shape;
    const auto& out = graph.tensors[resize.outputs[0]].shape;
    batches_ = in[0];
    inHeight_ = in[1];
    inWidth_ = in[2];
    rows_ = resizeTaps(in[1], out[1], resize.options);
    width_ = static_cast<size_t>(out[2]);
    columns_ = RowResampler(resizeTaps(in[2], out[2], resize.options), 1, in[2], form);
    bandsPerMap_ = (rows_.size() + kResizeBandRows - 1) / kResizeBandRows;
    blendRows_.resize(bandsPerMap_ * static_cast<size_t>(batches_) * 2 * width_);
}

void LabelTail::run(const std::vector<uint8_t*>& data, pthreadpool_t threadpool) {
    data_ = &data;
    pthreadpool_parallelize_1d(threadpool, &LabelTail::runBand, this,
                               bandsPerMap_ * static_cast<size_t>(batches_),
                               PTHREADPOOL_FLAG_DISABLE_DENORMALS);
    data_ = nullptr;
}

void LabelTail::runBand(void* tail, size_t band) {
    static_cast<LabelTail*>(tail)->writeBand(band);
}

void LabelTail::writeBand(size_t band) {
    const std::vector<uint8_t*>& data = *data_;
    const size_t batch = band / bandsPerMap_;
    const size_t firstRow = band % bandsPerMap_ * kResizeBandRows;
    const size_t endRow = std::min(firstRow + kResizeBandRows, rows_.size());
    const size_t width = width_;
    const float threshold = elements::load<float>(data[comparison_.inputs[1]], 0);
    const float* map = reinterpret_cast<const float*>(data[resize_.inputs[0]]) +
                       batch * static_cast<size_t>(inHeight_) * inWidth_;
    uint8_t* labels =
        data[cast_.outputs[0]] + batch * rows_.size() * width * elementSize(labelType_);
    float* upper = blendRows_.data() + band * 2 * width;
    float* lower = upper + width;
    int32_t upperRow = -1;
    int32_t lowerRow = -1;
    for (size_t y = firstRow; y < endRow; ++y) {
        const ResizeTap& tap = rows_[y];
        if (tap.first != upperRow) {
            if (tap.first == lowerRow) {
                std::swap(upper, lower);
                lowerRow = -1;
            } else {
                columns_.run(map + static_cast<size_t>(tap.first) * inWidth_, upper);
            }
            upperRow = tap.first;
        }
        if (tap.second != lowerRow) {
            columns_.run(map + static_cast<size_t>(tap.second) * inWidth_, lower);
            lowerRow = tap.second;
        }
        uint8_t* row = labels + y * width * elementSize(labelType_);
        blendLabelRow(form_, upper, lower, tap.weight, threshold,
                      comparison_.kind == OpKind::GreaterEqual, labelType_, row, width);
    }
}

}  // namespace hostengine
