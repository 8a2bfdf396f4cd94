#!/usr/bin/env bash
# Builds the plug-in, the stand-in phone, the tools and the tests for 64-bit ARM (aarch64) and
# 32-bit ARM (armhf) with Debian's cross compilers, and runs the test suite of each under qemu
# user-mode emulation: ctest in build-aarch64/ and build-armhf/ runs every ARM program through
# qemu by itself. Sets up what is missing first (scripts/cross-setup.sh).
# Usage: scripts/cross-test.sh [--quick] [aarch64|armhf|all]   (default all)
#   --quick   only the test programs in QUICK_PROGRAMS (what the CI runs): the byte layouts, the
#             masks across architectures, the plug-in driven as a camera host drives it, the
#             services, the conversions, the engine, and two tools started through binfmt (ctest
#             runs every test the tree has built, so a tree built in full still runs them all).
# The elapsed times printed at the end are how long this run took, emulation included; they say
# nothing about the speed of the code on an ARM device.
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
source "$here/scripts/lib.sh"
source "$here/scripts/cross-targets.sh"

QUICK_PROGRAMS=(
    abi_layout_test portability_test realmodel_mask_portability_test e2e_tests api_tables_test
    exports_test factory_selection_test assist_test algocore_log_test algocore_memory_test
    algocore_properties_test algocore_status_test func_tests engine_test tools_assist_test
)

quick=0
if [ "${1:-}" = "--quick" ]; then
    quick=1
    shift
fi
targets=$(resolve_targets "${1:-all}")

bash "$here/scripts/cross-setup.sh" "${1:-all}"
# The real-model tests read the prepared model and the sample photos; without them they skip.
[ -f "$here/.cache/models/bodyseg_342x456.tflite" ] && [ -f "$here/.cache/models/bodyseg_342x456_u8.tflite" ] ||
    bash "$here/scripts/fetch-model.sh"
bash "$here/scripts/fetch-photos.sh" >/dev/null

# existing_programs <build-dir> <names...>: the names the build tree knows as targets.
existing_programs() {
    local dir=$1 name known
    shift
    known=$(cmake --build "$dir" --target help | sed -n 's/^\([A-Za-z0-9_.-]*\): .*/\1/p')
    for name in "$@"; do
        if grep -qx "$name" <<<"$known"; then
            echo "$name"
        else
            echo "warning: no test program $name in $dir" >&2
        fi
    done
}

# configure <target> <build-dir>: the cross build tree of the target, optimised as the native
# RelWithDebInfo build (-O2) but without debug information, which costs a quarter of the compile
# time and serves nobody here.
configure() {
    local target=$1 dir=$2
    mkdir -p "$dir"
    cmake -S "$here" -B "$dir" -G Ninja \
        -DCMAKE_TOOLCHAIN_FILE="$here/cmake/toolchains/$(target_triplet "$target").cmake" \
        -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_FLAGS_RELEASE="-O2 -DNDEBUG" \
        -DCMAKE_CXX_FLAGS_RELEASE="-O2 -DNDEBUG" -DBODYSEG_BUILD_BENCH=OFF \
        >"$dir/configure.log" 2>&1 || {
        cat "$dir/configure.log" >&2
        return 1
    }
}

jobs=$(nproc)
summary=()
for target in $targets; do
    dir="$here/build-$target"
    start=$SECONDS
    echo "== [$target] build"
    configure "$target" "$dir"
    build_args=()
    ctest_args=()
    if [ $quick -eq 1 ]; then
        mapfile -t programs < <(existing_programs "$dir" "${QUICK_PROGRAMS[@]}")
        build_args=(--target "${programs[@]}")
        ctest_args=(-E '_NOT_BUILT$')
    fi
    cmake --build "$dir" -j "$jobs" "${build_args[@]}"
    built=$SECONDS
    echo "== [$target] test under $(target_qemu "$target")"
    (cd "$dir" && ctest --output-on-failure -j "$jobs" "${ctest_args[@]}")
    summary+=("$target: build $((built - start)) s, tests $((SECONDS - built)) s")
done
echo "== elapsed (emulation included, not a measure of ARM speed):"
printf '   %s\n' "${summary[@]}"
echo "== cross suites passed: $targets"
