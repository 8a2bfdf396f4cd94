// Makes the backend that the configuration's runtime names, so that handle code never names a
// concrete backend class.
#pragma once

#include "ModelCfg.h"
#include "ModelImpBase.h"

namespace bodysegment {

class ModelImpFtyBase {
  public:
    // A new backend built from `cfg`, registered with the memory accounting; the caller owns it
    // (Release, unregister, delete). The factory keeps no reference to it.
    virtual ModelImpBase* CreateModelImp(mtk_ai_type::ModelCfg& cfg) = 0;
    virtual ~ModelImpFtyBase() = default;
};

}  // namespace bodysegment
