#!/usr/bin/env bash
# Sets everything up and runs the main job: builds the plug-in, then loads it as a camera host
# would and prints its version, its function table and the symbols it exports.
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
source "$here/scripts/lib.sh"
install_packages
configure_and_build "$here/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
plugin="$here/build/lib/libVLAlgoCamAIBeautyBodyDetection.so"
"$here/build/bin/bodyseg-info" "$plugin"
echo "exported symbols:"
nm -D --defined-only -C "$plugin" | awk '{ $1=""; $2=""; sub(/^  /, "  "); print }'
