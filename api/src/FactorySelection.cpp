#include "FactorySelection.h"

#include <new>

#include "ALGONativeGalloc.h"
#include "BodySegFty.h"

namespace bodysegment {

namespace {

template <typename Factory>
ModelImpFtyBase* makeRegistered() {
    Factory* factory = new (std::nothrow) Factory;
    if (factory != nullptr)
        kavo::Native::create(factory, sizeof(Factory), __FILE__, __LINE__);
    return factory;
}

}  // namespace

ModelImpFtyBase* createModelImpFactory(int aiSdkDef) {
    switch (aiSdkDef) {
        case kAiSdkNeuronRuntime:
            return makeRegistered<BodySegNeuronFty>();
        case kAiSdkNeuropilot:
            return makeRegistered<BodySegNeuropilotFty>();
        default:
            return nullptr;
    }
}

}  // namespace bodysegment
