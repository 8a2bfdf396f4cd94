#!/usr/bin/env bash
# Makes what the camera host tool needs to run the prepared model the way a phone does:
#   .cache/assets/bodyseg_342x456.tflite.enc     the model, encrypted as the plug-in expects
#   .cache/assets/bodyseg_342x456_u8.tflite.enc  its byte-label form (NeuroPilot only), encrypted
#   .cache/assets/bodyseg_neuropilot.json        configuration selecting the NeuroPilot runtime
#   .cache/assets/bodyseg_neuron.json            configuration selecting the Neuron Runtime
# Both configurations carry a group for each runtime (the root "AISDK" picks one), so bodyseg's
# --runtime switches either of them. Each is checked with the plug-in's own parser.
# Usage: make-demo-assets.sh [build-dir]   (default: build/; it must hold the built tools)
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$here/build}
models=$here/.cache/models
assets=$here/.cache/assets

for model in bodyseg_342x456 bodyseg_342x456_u8; do
    if [ ! -s "$models/$model.tflite" ]; then
        echo "error: $models/$model.tflite is missing: run scripts/fetch-model.sh first" >&2
        exit 1
    fi
done
for tool in bodyseg-model-pack bodyseg-config-check; do
    if [ ! -x "$build/bin/$tool" ]; then
        echo "error: $build/bin/$tool is missing: build the tools first" >&2
        exit 1
    fi
done
mkdir -p "$assets"

for model in bodyseg_342x456 bodyseg_342x456_u8; do
    "$build/bin/bodyseg-model-pack" encrypt "$models/$model.tflite" "$assets/$model.tflite.enc"
done

# write_config <file> <root AISDK>
write_config() {
    cat >"$1" <<JSON
{
  "Module": "BodySegmentation",
  "Product": "Workstation",
  "Platform": "MTK",
  "AISDK": "$2",
  "ParamGroup": [
    {
      "Product": "Workstation",
      "Platform": "MTK",
      "AISDK": "Neuropilot",
      "AccelerationMode": "NP_ACCELERATION_NEURON",
      "AcceleratorName": "mtk-neuron",
      "ExecutionPreference": "kSustainedSpeed",
      "Decrption": true,
      "RunAiModel": true,
      "UseHistMatch": false
    },
    {
      "Product": "Workstation",
      "Platform": "MTK",
      "AISDK": "NeuronRuntime",
      "DeviceKind": "kEnvOptHardware",
      "MDLACoreOption": "Auto",
      "RuntimeAPIQoSPreference": "NEURONRUNTIME_PREFER_PERFORMANCE",
      "RuntimeAPIQoSPriority": "NEURONRUNTIME_PRIORITY_HIGH",
      "RuntimeAPIQoSBoostValue": "NEURONRUNTIME_BOOSTVALUE_MAX",
      "Decrption": true,
      "RunAiModel": true,
      "UseHistMatch": false
    }
  ]
}
JSON
    "$build/bin/bodyseg-config-check" "$1" >/dev/null
}

write_config "$assets/bodyseg_neuropilot.json" Neuropilot
write_config "$assets/bodyseg_neuron.json" NeuronRuntime
echo "assets: $assets"
