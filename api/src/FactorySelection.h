// Which backend factory a configuration's runtime value names.
#pragma once

#include "ModelImpFtyBase.h"

namespace bodysegment {

// Values of the configuration's "AISDK" after conversion.
constexpr int kAiSdkNeuropilot = 0;
constexpr int kAiSdkNeuronRuntime = 1;

// A new factory for `aiSdkDef`, registered with the memory accounting; null for a runtime this
// build does not know (and when the factory cannot be allocated). The caller unregisters and
// deletes it.
ModelImpFtyBase* createModelImpFactory(int aiSdkDef);

}  // namespace bodysegment
