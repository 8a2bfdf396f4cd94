// Ownership of XNNPACK and pthreadpool objects, and XNNPACK's one-time initialisation.
#pragma once

#include <pthreadpool.h>
#include <xnnpack.h>

#include <memory>
#include <string>

namespace hostengine {

// Initialises XNNPACK once per process; false (with `*error`) when the CPU lacks what it needs.
bool ensureXnnpackInitialized(std::string* error);

// "invalid parameter", "unsupported parameter", ... for messages.
const char* xnnStatusText(xnn_status status);

struct SubgraphDeleter {
    void operator()(xnn_subgraph_t subgraph) const { xnn_delete_subgraph(subgraph); }
};
struct RuntimeDeleter {
    void operator()(xnn_runtime_t runtime) const { xnn_delete_runtime(runtime); }
};
struct OperatorDeleter {
    void operator()(xnn_operator_t op) const { xnn_delete_operator(op); }
};
struct ThreadpoolDeleter {
    void operator()(pthreadpool_t pool) const { pthreadpool_destroy(pool); }
};
using SubgraphPtr = std::unique_ptr<xnn_subgraph, SubgraphDeleter>;
using RuntimePtr = std::unique_ptr<xnn_runtime, RuntimeDeleter>;
using OperatorPtr = std::unique_ptr<xnn_operator, OperatorDeleter>;
using ThreadpoolPtr = std::unique_ptr<pthreadpool, ThreadpoolDeleter>;

// A pool of `threads` workers; 0 means one per core. `*pool` stays null (XNNPACK then runs on the
// caller's thread) for one thread, since a single worker only adds hand-over cost.
bool createThreadpool(int threads, ThreadpoolPtr* pool, std::string* error);

}  // namespace hostengine
