// Reads the JSON model configuration into the records a handle is built from.
//
// The root's "Product", "Platform" and "AISDK" select the first "ParamGroup" element carrying the
// same three values; that group's "AISDK" decides which option fields are written (the NeuroPilot
// ones or the Neuron Runtime ones), and the four GeneralCfg fields are written in both cases.
// Fields of the other runtime keep the caller's values, so the caller clears both records first.
#pragma once

#include <cstdint>
#include <string>

#include "ModelCfg.h"

namespace assist {

// 0 on success, 0xFFFFFFFF on any failure, each failure reported by exactly one ERROR line. A
// malformed file (wrong member types included) is a failure like any other: nothing is thrown.
// The records may be partly written when it fails.
uint32_t parse_json(const char* path, mtk_ai_type::ModelCfg& model_cfg,
                    mtk_ai_type::GeneralCfg& general_cfg);

// Which "ParamGroup" element parse_json took, for the integrator tools.
struct SelectedParamGroup {
    int index = -1;  // -1: none was taken
    std::string product;
    std::string platform;
    std::string aisdk;
};

// parse_json that also reports the group it took.
uint32_t parse_json(const char* path, mtk_ai_type::ModelCfg& model_cfg,
                    mtk_ai_type::GeneralCfg& general_cfg, SelectedParamGroup& selected);

}  // namespace assist
