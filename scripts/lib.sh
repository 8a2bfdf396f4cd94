# Shared by the project's scripts: package installation and the build.

# Debian packages the build, the tests and the tools use.
BODYSEG_PACKAGES=(
    build-essential cmake ninja-build pkg-config binutils python3
    libyuv-dev libjsoncpp-dev android-liblog-dev
    libxnnpack-dev libpthreadpool-dev libflatbuffers-dev flatbuffers-compiler
    libgtest-dev libgmock-dev googletest libbenchmark-dev
    libpng-dev libjpeg-dev clang-format
)

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null 2>&1; then
        sudo "$@"
    else
        echo "error: need root (or sudo) to run: $*" >&2
        return 1
    fi
}

missing_packages() {
    local pkg
    for pkg in "$@"; do
        if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed'; then
            echo "$pkg"
        fi
    done
}

# install_packages [extra packages...]: installs what is missing of the project's packages.
install_packages() {
    local missing
    missing=$(missing_packages "${BODYSEG_PACKAGES[@]}" "$@")
    if [ -n "$missing" ]; then
        echo "== installing: $(echo $missing | tr '\n' ' ')"
        as_root apt-get update -qq
        # shellcheck disable=SC2086
        as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing
    fi
}

# configure_and_build <build-dir> [cmake arguments...]; BUILD_TARGET (one or more target names,
# separated by spaces) limits what is built.
configure_and_build() {
    local dir=$1
    shift
    mkdir -p "$dir"
    cmake -S "$here" -B "$dir" -G Ninja "$@" >"$dir/configure.log" 2>&1 || {
        cat "$dir/configure.log" >&2
        return 1
    }
    # shellcheck disable=SC2086
    cmake --build "$dir" -j "$(nproc)" ${BUILD_TARGET:+--target $BUILD_TARGET}
}
