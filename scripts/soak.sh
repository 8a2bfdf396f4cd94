#!/usr/bin/env bash
# The long soak: 10,000 frames through one handle and 1,000 init/frame/release cycles (both
# runtimes, both tables, model from memory and from the file), watched through the host's mirror
# of the plug-in's allocations, first under AddressSanitizer + UndefinedBehaviorSanitizer with
# leak detection, then under valgrind memcheck on the plain build. Any sanitizer report, memcheck
# error, leak, failed frame or non-zero release fails the run.
# Usage: scripts/soak.sh [frames] [cycles]   (defaults 10000 and 1000)
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
source "$here/scripts/lib.sh"
install_packages valgrind

export BODYSEG_SOAK_FRAMES=${1:-10000}
export BODYSEG_SOAK_CYCLES=${2:-1000}

echo "== [soak] asan-ubsan build"
BUILD_TARGET=soak_tests configure_and_build "$here/build-asan" -DCMAKE_BUILD_TYPE=Debug \
    -DBODYSEG_SANITIZE=address-undefined -DBODYSEG_BUILD_BENCH=OFF -DBODYSEG_BUILD_TOOLS=ON
echo "== [soak] asan-ubsan: $BODYSEG_SOAK_FRAMES frames, $BODYSEG_SOAK_CYCLES cycles"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    "$here/build-asan/bin/soak_tests"

echo "== [soak] plain build"
BUILD_TARGET=soak_tests configure_and_build "$here/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
echo "== [soak] valgrind memcheck: $BODYSEG_SOAK_FRAMES frames, $BODYSEG_SOAK_CYCLES cycles"
valgrind --tool=memcheck --error-exitcode=1 --leak-check=full --errors-for-leak-kinds=definite \
    --show-leak-kinds=definite "$here/build/bin/soak_tests"
echo "== [soak] passed"
