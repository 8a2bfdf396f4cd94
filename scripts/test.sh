#!/usr/bin/env bash
# Sets everything up and runs the whole test suite: the plain build (with the prepared model and
# the sample photos, so that the real-model tests run too), the whole suite again under
# AddressSanitizer + UndefinedBehaviorSanitizer, the concurrency tests under ThreadSanitizer, the
# core of the suite cross-built for 64-bit ARM and run under qemu, and a short run of every fuzz
# target.
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
source "$here/scripts/lib.sh"
install_packages

# Every C and C++ file laid out as the root .clang-format says, before anything is built.
echo "== [format] check"
(cd "$here" && find api func mtk assist algocore host tools tests bench fuzz \
    \( -name '*.cpp' -o -name '*.h' -o -name '*.c' \) -print0 |
    xargs -0 clang-format --dry-run -Werror)

jobs=$(nproc)
run_tests() {
    local name=$1 dir=$2
    echo "== [$name] test"
    (cd "$dir" && ctest --output-on-failure -j "$jobs" ${CTEST_ARGS:-})
}
build() {
    local name=$1 dir=$2
    shift 2
    echo "== [$name] build"
    configure_and_build "$dir" "$@"
}

build plain "$here/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
bash "$here/scripts/fetch-model.sh" "$here/build"
bash "$here/scripts/fetch-photos.sh"
run_tests plain "$here/build"

build asan-ubsan "$here/build-asan" -DCMAKE_BUILD_TYPE=Debug \
    -DBODYSEG_SANITIZE=address-undefined -DBODYSEG_BUILD_BENCH=OFF -DBODYSEG_BUILD_TOOLS=ON
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    run_tests asan-ubsan "$here/build-asan"

BUILD_TARGET=concurrency_tests build tsan "$here/build-tsan" -DCMAKE_BUILD_TYPE=Debug \
    -DBODYSEG_SANITIZE=thread -DBODYSEG_BUILD_BENCH=OFF -DBODYSEG_BUILD_TOOLS=OFF
TSAN_OPTIONS=halt_on_error=1 CTEST_ARGS="-L concurrency" run_tests tsan "$here/build-tsan"

# The byte layouts, the masks across architectures, the plug-in as a camera host drives it, the
# services and the engine, built for aarch64 and run under qemu user-mode emulation.
bash "$here/scripts/cross-test.sh" --quick aarch64

# Every fuzz target for a few seconds after its kept crash inputs (clang, ASan+UBSan).
bash "$here/scripts/fuzz.sh" --smoke
echo "== all suites passed"
