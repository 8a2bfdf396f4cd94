#include "ConfigReport.h"

namespace configcheck {

namespace {

const char* yesNo(bool value) {
    return value ? "true" : "false";
}

}  // namespace

void printReport(FILE* to, const assist::SelectedParamGroup& group,
                 const mtk_ai_type::ModelCfg& model, const mtk_ai_type::GeneralCfg& general) {
    std::fprintf(to,
                 "selected group: ParamGroup[%d] (Product \"%s\", Platform \"%s\", AISDK \"%s\")\n",
                 group.index, group.product.c_str(), group.platform.c_str(), group.aisdk.c_str());
    std::fprintf(to, "GeneralCfg:\n");
    std::fprintf(to, "  decrption      = %s\n", yesNo(general.decrption));
    std::fprintf(to, "  ai_sdk_def     = %d (%s)\n", general.ai_sdk_def,
                 general.ai_sdk_def == 1 ? "Neuron Runtime" : "NeuroPilot");
    std::fprintf(to, "  run_ai_model   = %s\n", yesNo(general.run_ai_model));
    std::fprintf(to, "  use_hist_match = %s\n", yesNo(general.use_hist_match));
    // parse_json writes only the fields of the runtime the group names.
    if (general.ai_sdk_def == 1) {
        std::fprintf(to, "ModelCfg (Neuron Runtime fields):\n");
        std::fprintf(to, "  deviceKind     = %u\n", model.env_options.deviceKind);
        std::fprintf(to, "  MDLACoreOption = %u\n", model.env_options.MDLACoreOption);
        std::fprintf(to, "  preference     = %d\n", model.qos_options.preference);
        std::fprintf(to, "  priority       = %d\n", model.qos_options.priority);
        std::fprintf(to, "  boostValue     = %u\n", model.qos_options.boostValue);
    } else {
        std::fprintf(to, "ModelCfg (NeuroPilot fields):\n");
        std::fprintf(to, "  acc_mode       = %d\n", model.acc_mode);
        std::fprintf(to, "  acc_name       = %s\n", model.acc_name);
        std::fprintf(to, "  exe_mode       = %d\n", model.exe_mode);
    }
}

}  // namespace configcheck
