// Prints what the plug-in would take from a configuration file that parsed.
#pragma once

#include <cstdio>

#include "ModelCfg.h"
#include "ParseParams.h"

namespace configcheck {

void printReport(FILE* to, const assist::SelectedParamGroup& group,
                 const mtk_ai_type::ModelCfg& model, const mtk_ai_type::GeneralCfg& general);

}  // namespace configcheck
