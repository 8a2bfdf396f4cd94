// The configuration records a handle is built from. assist::parse_json fills them from the JSON
// model configuration; handle initialisation adds the model path, bytes and cache directory; each
// backend copies the fields it uses in its constructor.
#pragma once

#include <cstdint>

#include "mtk/neuron6/NeuronRuntimeTypes.h"

namespace mtk_ai_type {

struct ModelCfg {
    const char* model_path;    // backends load from this file when model_buffer or model_size is 0
    const void* model_buffer;  // model bytes in memory (the decrypted copy); borrowed
    uint32_t model_size;
    const char* cache_dir;     // NeuroPilot compilation cache
    int32_t acc_mode;          // NeuroPilot acceleration mode: 0 CPU, 1 NNAPI, 2 neuron delegate
    const char* acc_name;      // points into the static accelerator-name vocabulary; never freed
    int32_t exe_mode;          // NeuroPilot execution preference: -1, 0, 1, 2
    int32_t allow_fp16;        // run float32 at 16-bit precision when not zero
    EnvOptions env_options;    // deviceKind and MDLACoreOption from the file
    QoSOptions qos_options;    // preference, priority and boostValue from the file
    int32_t buffer_attribute;  // the Neuron BufferAttribute for every binding
};

struct GeneralCfg {
    bool decrption;      // the model bytes must go through assist::model_parse first
    int32_t ai_sdk_def;  // 0 NeuroPilot ("Neuropilot"), 1 Neuron Runtime ("NeuronRuntime")
    bool run_ai_model;
    bool use_hist_match;
};

}  // namespace mtk_ai_type
