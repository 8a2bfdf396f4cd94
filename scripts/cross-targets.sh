# shellcheck shell=bash
# Shared by the cross scripts: the ARM targets and their names in each tool's vocabulary.

CROSS_TARGETS=(aarch64 armhf)

target_triplet() {
    case $1 in
    aarch64) echo aarch64-linux-gnu ;;
    armhf) echo arm-linux-gnueabihf ;;
    esac
}

target_debian_arch() {
    case $1 in
    aarch64) echo arm64 ;;
    armhf) echo armhf ;;
    esac
}

target_qemu() {
    case $1 in
    aarch64) echo qemu-aarch64 ;;
    armhf) echo qemu-arm ;;
    esac
}

# resolve_targets <aarch64|armhf|all>: the targets the argument names, or a usage error.
resolve_targets() {
    case $1 in
    all) echo "${CROSS_TARGETS[@]}" ;;
    aarch64 | armhf) echo "$1" ;;
    *)
        echo "error: unknown target '$1' (expected aarch64, armhf or all)" >&2
        return 2
        ;;
    esac
}
