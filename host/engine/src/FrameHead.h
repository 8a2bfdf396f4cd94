// The head of a vision model run as one kernel: a quantized 8-bit three-channel frame dequantized
// and resized bilinearly to the network's input. Run apart, XNNPACK's dequantize writes the whole
// frame as floats and its channel-last resize then spends its time per output pixel; here each
// output row is blended from two frame rows straight from the bytes, then resampled across.
#pragma once

#include <cstdint>
#include <vector>

#include "ModelGraph.h"
#include "ResizeTaps.h"
#include "RowKernels.h"
#include "XnnpackSupport.h"

namespace hostengine {

class FrameHead {
  public:
    // Whether `dequantize` and `resize` (consecutive operators of a checked graph) form such a
    // head: a per-tensor quantized UINT8 or INT8 [N, H, W, 3] tensor dequantized into a map that
    // only the RESIZE_BILINEAR reads and that is no graph output.
    static bool fits(const Graph& graph, const GraphOperator& dequantize,
                     const GraphOperator& resize);

    FrameHead(const Graph& graph, const GraphOperator& dequantize, const GraphOperator& resize,
              KernelForm form);

    // `data[t]` is the storage of tensor t, as for the engine's other kernels. Bands of output rows
    // run on `threadpool` (null: the calling thread).
    void run(const std::vector<uint8_t*>& data, pthreadpool_t threadpool);

  private:
    static void runBand(void* head, size_t band);
    template <typename T>
    void writeBand(size_t band);

    static constexpr int32_t kChannels = 3;

    const GraphOperator& dequantize_;
    const GraphOperator& resize_;
    KernelForm form_;
    bool signedInput_ = false;
    float scale_ = 0.0f;
    float zeroPoint_ = 0.0f;
    int32_t batches_ = 0;
    int32_t inHeight_ = 0;
    int32_t inWidth_ = 0;
    size_t bandsPerImage_ = 0;
    std::vector<ResizeTap> rows_;
    RowResampler columns_;
    size_t outRow_ = 0;
    // Per band, one frame row blended vertically and dequantized.
    std::vector<float> blended_;
    size_t blendedStride_ = 0;
    const std::vector<uint8_t*>* data_ = nullptr;  // during run()
};

}  // namespace hostengine
