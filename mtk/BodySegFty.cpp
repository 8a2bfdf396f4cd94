#include "BodySegFty.h"

#include <new>

#include "ALGONativeGalloc.h"
#include "BodySegNeuron.h"
#include "BodySegNeuropilot.h"
#include "LogPrintf.h"

namespace bodysegment {

// Out of memory must not throw into the host: the caller reports the null backend.
ModelImpBase* BodySegNeuropilotFty::CreateModelImp(mtk_ai_type::ModelCfg& cfg) {
    BodySegNeuropilot* backend = new (std::nothrow) BodySegNeuropilot(cfg);
    if (backend == nullptr)
        return nullptr;
    kavo::Native::create(backend, sizeof(BodySegNeuropilot), __FILE__, __LINE__);
    KAVO_LOGI("new bodysegment::BodySegNeuropilot success");
    return backend;
}

ModelImpBase* BodySegNeuronFty::CreateModelImp(mtk_ai_type::ModelCfg& cfg) {
    BodySegNeuron* backend = new (std::nothrow) BodySegNeuron(cfg);
    if (backend == nullptr)
        return nullptr;
    kavo::Native::create(backend, sizeof(BodySegNeuron), __FILE__, __LINE__);
    KAVO_LOGI("new bodysegment::BodySegNeuron success");
    return backend;
}

}  // namespace bodysegment
