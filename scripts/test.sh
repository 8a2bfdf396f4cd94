#!/usr/bin/env bash
# Sets everything up and runs the whole test suite: the plain build, the whole suite again under
# AddressSanitizer + UndefinedBehaviorSanitizer, and the concurrency tests under ThreadSanitizer.
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
source "$here/scripts/lib.sh"
install_packages

jobs=$(nproc)
run_suite() {
    local name=$1 dir=$2
    shift 2
    echo "== [$name] build"
    configure_and_build "$dir" "$@"
    echo "== [$name] test"
    (cd "$dir" && ctest --output-on-failure -j "$jobs" ${CTEST_ARGS:-})
}

run_suite plain "$here/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    run_suite asan-ubsan "$here/build-asan" -DCMAKE_BUILD_TYPE=Debug \
    -DBODYSEG_SANITIZE=address-undefined -DBODYSEG_BUILD_BENCH=OFF -DBODYSEG_BUILD_TOOLS=ON
BUILD_TARGET=concurrency_tests CTEST_ARGS="-L concurrency" TSAN_OPTIONS=halt_on_error=1 \
    run_suite tsan "$here/build-tsan" -DCMAKE_BUILD_TYPE=Debug \
    -DBODYSEG_SANITIZE=thread -DBODYSEG_BUILD_BENCH=OFF -DBODYSEG_BUILD_TOOLS=OFF
echo "== all suites passed"
