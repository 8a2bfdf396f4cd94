#include "XnnpackSupport.h"

#include <mutex>
#include <thread>

namespace hostengine {

bool ensureXnnpackInitialized(std::string* error) {
    static std::once_flag once;
    static xnn_status status = xnn_status_uninitialized;
    std::call_once(once, [] { status = xnn_initialize(nullptr); });
    if (status != xnn_status_success) {
        *error = std::string("XNNPACK initialisation failed: ") + xnnStatusText(status);
        return false;
    }
    return true;
}

const char* xnnStatusText(xnn_status status) {
    switch (status) {
        case xnn_status_success:
            return "success";
        case xnn_status_uninitialized:
            return "not initialised";
        case xnn_status_invalid_parameter:
            return "invalid parameter";
        case xnn_status_invalid_state:
            return "invalid state";
        case xnn_status_unsupported_parameter:
            return "unsupported parameter";
        case xnn_status_unsupported_hardware:
            return "unsupported hardware";
        case xnn_status_out_of_memory:
            return "out of memory";
    }
    return "unknown status";
}

bool createThreadpool(int threads, ThreadpoolPtr* pool, std::string* error) {
    // hardware_concurrency() may report 0 when it cannot tell; pthreadpool then counts the cores.
    const unsigned count =
        threads > 0 ? static_cast<unsigned>(threads) : std::thread::hardware_concurrency();
    if (count == 1) {
        pool->reset();
        return true;
    }
    pool->reset(pthreadpool_create(count));
    if (!*pool) {
        *error = "cannot create a pool of " + std::to_string(count) + " threads";
        return false;
    }
    return true;
}

}  // namespace hostengine
