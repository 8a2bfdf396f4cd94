#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, AddressSanitizer + UndefinedBehaviorSanitizer) and runs each
# for a while on a working copy of its corpus, then prints executions, speed and coverage per target.
#
# Usage: scripts/fuzz.sh [--smoke] [--no-build] [--keep-going] [seconds-per-target] [target...]
#   --smoke       2000 runs per target (at most 10 s), the continuous-integration check
#   --no-build    run what build-fuzz holds (for a second campaign beside a running one)
#   --keep-going  record crashes and go on fuzzing (libFuzzer's fork mode), even past a failing
#                 regression input: for long campaigns while a known crash is not fixed yet
#   seconds       per target (default 60)
#   targets       any of: config_init model_parse properties aes frame model_reader (default all)
#
# Inputs that once crashed a target are kept under fuzz/regressions/<target>/; each is run before
# its target fuzzes, and a failing one fails the target. Corpora grow under .cache/fuzz/<target>/
# (BODYSEG_FUZZ_WORK overrides), seeded from fuzz/corpus/<target>/; crashes land in its artifacts/.
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
source "$here/scripts/lib.sh"

all_targets=(config_init model_parse properties aes frame model_reader)
seconds=60
build=1
keep_going=0
smoke=0
targets=()
for arg in "$@"; do
    case "$arg" in
        --smoke)
            seconds=10
            smoke=1
            ;;
        --no-build) build=0 ;;
        --keep-going) keep_going=1 ;;
        '' | *[!0-9]*)
            if [[ " ${all_targets[*]} " != *" $arg "* ]]; then
                echo "unknown target or option '$arg' (targets: ${all_targets[*]})" >&2
                exit 2
            fi
            targets+=("$arg")
            ;;
        *) seconds=$arg ;;
    esac
done
[ ${#targets[@]} -gt 0 ] || targets=("${all_targets[@]}")

build_dir=${BODYSEG_FUZZ_BUILD:-$here/build-fuzz}
work=${BODYSEG_FUZZ_WORK:-$here/.cache/fuzz}

if [ "$build" -eq 1 ]; then
    # libFuzzer and the sanitizer runtimes come with clang's runtime package; llvm brings the
    # symbolizer that turns crash addresses into source lines.
    install_packages clang libclang-rt-14-dev llvm
    echo "== [fuzz] build"
    BUILD_TARGET=fuzzers configure_and_build "$build_dir" \
        -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DBODYSEG_FUZZ=ON -DBODYSEG_BUILD_TESTS=OFF -DBODYSEG_BUILD_TOOLS=OFF \
        -DBODYSEG_BUILD_BENCH=OFF
fi

# A request no allocator could grant returns null, as it does outside the sanitizer, instead of
# ending the run: what the code then does with the null is what is under test.
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:allocator_may_return_null=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}

# Known crashes first: each kept input must now pass. Returns non-zero when one does not.
run_regressions() {
    local target=$1 bin=$2 log=$3
    local dir=$here/fuzz/regressions/$target
    local inputs=()
    [ -d "$dir" ] && mapfile -t inputs < <(find "$dir" -type f | sort)
    [ ${#inputs[@]} -gt 0 ] || return 0
    "$bin" "${inputs[@]}" >"$log" 2>&1
}

# "<execs> <exec/s> <cov> <ft> <corpus>" from a libFuzzer log, plain or fork mode.
summarise() {
    local log=$1
    local status_line execs rate
    status_line=$(grep -E '^#[0-9]+:?[[:space:]].*cov: ' "$log" | tail -1 || true)
    execs=$(grep -oE 'stat::number_of_executed_units: *[0-9]+' "$log" | grep -oE '[0-9]+$' || true)
    rate=$(grep -oE 'stat::average_exec_per_sec: *[0-9]+' "$log" | grep -oE '[0-9]+$' || true)
    [ -n "$execs" ] || execs=$(sed -nE 's/^#([0-9]+).*/\1/p' <<<"$status_line")
    [ -n "$rate" ] || rate=$(sed -nE 's/.*exec\/s: ([0-9]+).*/\1/p' <<<"$status_line")
    # Fork mode reports no rate of its own: the executions over the time its last line gives.
    if [ -z "$rate" ] && [[ "$status_line" =~ time:\ ([0-9]+)s ]] && [ -n "$execs" ]; then
        rate=$((execs / (BASH_REMATCH[1] > 0 ? BASH_REMATCH[1] : 1)))
    fi
    echo "${execs:--} ${rate:--} $(sed -nE 's/.*cov: ([0-9]+).*/\1/p' <<<"$status_line") \
$(sed -nE 's/.*ft: ([0-9]+).*/\1/p' <<<"$status_line") \
$(sed -nE 's/.*corp: ([0-9]+).*/\1/p' <<<"$status_line")"
}

results=()
failed=0
for target in "${targets[@]}"; do
    bin=$build_dir/bin/fuzz_$target
    if [ ! -x "$bin" ]; then
        results+=("$target not-built - - - - - -")
        continue
    fi
    dir=$work/$target
    mkdir -p "$dir/corpus" "$dir/artifacts"
    log=$dir/last.log

    echo "== [fuzz] $target: regressions"
    regressions=passed
    if ! run_regressions "$target" "$bin" "$log"; then
        grep -E 'runtime error|ERROR: |fuzz check failed|Running: ' "$log" | tail -n 6 >&2 || true
        failed=1
        regressions=failed
        if [ "$keep_going" -eq 0 ]; then
            results+=("$target REGRESSION 0 - - - - -")
            continue
        fi
    fi

    echo "== [fuzz] $target: ${seconds}s"
    args=(-max_total_time="$seconds" -print_final_stats=1 -timeout=25
        -artifact_prefix="$dir/artifacts/")
    [ -f "$here/fuzz/dict/$target.dict" ] && args+=(-dict="$here/fuzz/dict/$target.dict")
    # The CI check always makes the same inputs (a fixed seed and number of runs, the time only a
    # cap): a red run is a finding, not bad luck.
    [ "$smoke" -eq 1 ] && args+=(-seed=1 -runs=2000)
    [ "$keep_going" -eq 1 ] && args+=(-fork=1 -ignore_crashes=1 -ignore_timeouts=1 -ignore_ooms=1)
    verdict=ok
    if [ "$keep_going" -eq 1 ]; then
        "$bin" "${args[@]}" "$dir/corpus" "$here/fuzz/corpus/$target" >"$log" 2>&1 || true
        crashes=$(find "$dir/artifacts" -type f | wc -l)
        if [ "$crashes" -gt 0 ]; then
            verdict="$crashes-crashes-kept"
            failed=1
        fi
    elif ! "$bin" "${args[@]}" "$dir/corpus" "$here/fuzz/corpus/$target" >"$log" 2>&1; then
        verdict=CRASH
        failed=1
        grep -E 'ERROR: |runtime error|fuzz check failed|SUMMARY' "$log" | head -5 >&2 || true
    fi
    [ "$regressions" = passed ] || verdict="$verdict+REGRESSION"

    results+=("$target $verdict $seconds $(summarise "$log")")
done

echo
printf '%-13s %-28s %8s %12s %8s %7s %7s %7s\n' target result seconds executions exec/s cov ft corpus
for row in "${results[@]}"; do
    # shellcheck disable=SC2086
    printf '%-13s %-28s %8s %12s %8s %7s %7s %7s\n' $row
done
echo "(corpora, logs and crash inputs under $work/<target>/)"
exit "$failed"
