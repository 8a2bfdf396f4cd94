#!/usr/bin/env bash
# Installs every Debian package the project needs (only those missing), then configures and
# builds one build tree. Usage: scripts/setup.sh [build-dir] [extra cmake arguments...]
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
source "$here/scripts/lib.sh"

install_packages
build_dir=${1:-$here/build}
shift || true
configure_and_build "$build_dir" "$@"
