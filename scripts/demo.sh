#!/usr/bin/env bash
# Sets everything up and runs the main job: builds the plug-in, the stand-in runtimes and the
# tools, prepares the person-segmentation model and the sample photos, and runs bodyseg, the
# workstation camera host, on the photos. Masks and overlays land in out/bodyseg/.
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
source "$here/scripts/lib.sh"
install_packages
echo "== build"
# Only what the job needs; the tests and benchmarks are built by scripts/test.sh.
BUILD_TARGET="VLAlgoCamAIBeautyBodyDetection standin_runtimes bodyseg bodyseg-model-prep \
bodyseg-model-pack bodyseg-config-check" \
    configure_and_build "$here/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
bash "$here/scripts/fetch-model.sh" "$here/build"
bash "$here/scripts/fetch-photos.sh"
bash "$here/scripts/make-demo-assets.sh" "$here/build"
assets="$here/.cache/assets"
out="$here/out/bodyseg"
echo "== bodyseg on the sample photos"
"$here/build/bin/bodyseg" --config "$assets/bodyseg_neuropilot.json" \
    --model "$assets/bodyseg_342x456_u8.tflite.enc" --out "$out" --force "$here/.cache/photos"
echo "== masks (*_mask.png) and overlays (*_overlay.png): $out"
