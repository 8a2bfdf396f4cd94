// XNNPACK runtimes run directly, without the engine: the reference the engine's invoke is
// measured against. A runtime owns its thread pool, its constants and its external buffers.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ConvStack.h"
#include "XnnpackLowering.h"
#include "XnnpackSupport.h"

namespace enginebench {

class BareXnnpack {
  public:
    // The hand-defined subgraph of `stack`.
    static std::unique_ptr<BareXnnpack> fromConvStack(const ConvStack& stack, int threads,
                                                      std::string* error);
    // Every XNNPACK stage of a model file (runtimes and planar resizes), made as the engine makes
    // them; the engine's own kernels (if any) are left out, so they count as engine overhead.
    static std::unique_ptr<BareXnnpack> fromModelFile(const std::string& path, int threads,
                                                      std::string* error);
    static std::unique_ptr<BareXnnpack> fromModelBytes(const std::vector<uint8_t>& model,
                                                       int threads, std::string* error);

    bool invoke();

  private:
    bool start(int threads, std::string* error);
    bool addRuntime(xnn_subgraph_t subgraph, const std::vector<size_t>& externalBytes,
                    std::string* error);
    bool addPlaneResize(const hostengine::Graph& graph, size_t opIndex, std::string* error);
    uint8_t* buffer(size_t bytes);

    hostengine::ThreadpoolPtr pool_;
    hostengine::StaticDataStore constants_;
    ConvStack stack_;
    std::vector<std::unique_ptr<uint8_t[]>> buffers_;
    // In the order they run; each step is a runtime or a planar resize. Last: released before
    // what they use.
    struct Step {
        hostengine::RuntimePtr runtime;
        hostengine::OperatorPtr resize;
    };
    std::vector<Step> steps_;
};

}  // namespace enginebench
