// The tail of a segmentation model run as one kernel: a one-channel probability map resized
// bilinearly to the frame, compared with one value and cast to labels. Run apart, the three write
// and read the full-size map of probabilities and then of truth values; here each output row is
// blended from two horizontally resized input rows and written as labels at once.
#pragma once

#include <cstdint>
#include <vector>

#include "ModelGraph.h"
#include "ResizeTaps.h"
#include "RowKernels.h"
#include "XnnpackSupport.h"

namespace hostengine {

class LabelTail {
  public:
    // Whether `resize`, `comparison` and `cast` (consecutive operators of a checked graph) form
    // such a tail: a float one-channel RESIZE_BILINEAR read only by a GREATER or GREATER_EQUAL
    // against one value, whose truth values only the CAST reads; neither in-between map is a
    // graph output.
    static bool fits(const Graph& graph, const GraphOperator& resize,
                     const GraphOperator& comparison, const GraphOperator& cast);

    LabelTail(const Graph& graph, const GraphOperator& resize, const GraphOperator& comparison,
              const GraphOperator& cast, KernelForm form);

    // `data[t]` is the storage of tensor t, as for the engine's other kernels. Bands of output rows
    // run on `threadpool` (null: the calling thread), with denormal numbers flushed to zero as
    // XNNPACK computes, so that a near-zero probability costs what any other does.
    void run(const std::vector<uint8_t*>& data, pthreadpool_t threadpool);

  private:
    static void runBand(void* tail, size_t band);

    void writeBand(size_t band);

    const GraphOperator& resize_;
    const GraphOperator& comparison_;
    const GraphOperator& cast_;
    ElementType labelType_;
    KernelForm form_;
    int32_t batches_ = 0;
    int32_t inHeight_ = 0;
    int32_t inWidth_ = 0;
    size_t bandsPerMap_ = 0;
    std::vector<ResizeTap> rows_;
    RowResampler columns_;
    size_t width_ = 0;
    // Per band, the two input rows its current output row blends, resized horizontally: each is
    // kept while the band's next output rows still need it.
    std::vector<float> blendRows_;
    const std::vector<uint8_t*>* data_ = nullptr;  // during run()
};

}  // namespace hostengine
