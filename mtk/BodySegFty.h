// The two backend factories; handle initialisation picks one by the configuration's runtime
// (0 NeuroPilot, 1 Neuron Runtime). Neither holds data.
#pragma once

#include "ModelImpFtyBase.h"

namespace bodysegment {

class BodySegNeuropilotFty : public ModelImpFtyBase {
  public:
    // A new BodySegNeuropilot, registered with the memory accounting; null only when the object
    // itself could not be allocated.
    ModelImpBase* CreateModelImp(mtk_ai_type::ModelCfg& cfg) override;
};

class BodySegNeuronFty : public ModelImpFtyBase {
  public:
    // A new BodySegNeuron, registered with the memory accounting; null only when the object itself
    // could not be allocated.
    ModelImpBase* CreateModelImp(mtk_ai_type::ModelCfg& cfg) override;
};

}  // namespace bodysegment
