// Turns one XNNPACK stage of a checked graph into an XNNPACK subgraph, operator by operator, the
// way TFLite's XNNPACK delegate maps TFLite operators onto XNNPACK nodes.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ModelGraph.h"
#include "Partition.h"
#include "XnnpackSupport.h"

namespace hostengine {

// Constant data handed to XNNPACK: it must outlive every runtime built from it, and XNNPACK's
// kernels may read up to XNN_EXTRA_BYTES past the end of any tensor.
class StaticDataStore {
  public:
    const void* copy(const void* data, size_t size);
    const void* zeros(size_t size);

  private:
    uint8_t* allocate(size_t size);

    std::vector<std::unique_ptr<uint8_t[]>> blocks_;
};

// Builds the subgraph of `stage`. `externals` are the engine-owned tensors the stage exchanges
// with the rest of the graph; externals[i] becomes external value i (an external input when the
// stage does not write it, an external output otherwise). The graph must have passed checkGraph.
bool buildSubgraph(const Graph& graph, const Stage& stage, const std::vector<int>& externals,
                   StaticDataStore* store, SubgraphPtr* subgraph, std::string* error);

}  // namespace hostengine
