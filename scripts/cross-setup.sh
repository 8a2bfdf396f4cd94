#!/usr/bin/env bash
# Prepares this x86-64 Debian machine for the ARM builds: Debian's cross compilers, qemu user-mode
# emulation with its binfmt handlers, and per target a sysroot holding Debian's own arm64 or armhf
# builds of every library the project uses. Installs and downloads only what is missing.
# Usage: scripts/cross-setup.sh [aarch64|armhf|all]   (default all)
#
# The ARM libraries are unpacked from Debian's packages into .cache/cross/<triplet>/sysroot rather
# than installed as multiarch packages: libxnnpack0, libpthreadpool0 and their -dev packages are not
# co-installable across architectures, so an arm64 install would remove the x86-64 ones the native
# build needs, and the co-installable ones would pin the machine's own x86-64 libraries to the
# versions the ARM indices happen to carry. A private apt state keeps the machine's apt untouched.
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
source "$here/scripts/lib.sh"
source "$here/scripts/cross-targets.sh"

# The project's libraries and what they need at run time; the C library's headers and startup files
# come with the cross compiler. The ARM flatc is left out on purpose: code generation at build time
# runs the machine's own flatc.
SYSROOT_PACKAGES=(
    libc6 libgcc-s1 libstdc++6 gcc-12-base
    libyuv-dev libyuv0 libjpeg-dev libjpeg62-turbo-dev libjpeg62-turbo
    libjsoncpp-dev libjsoncpp25 android-liblog-dev android-liblog
    libxnnpack-dev libxnnpack0 libcpuinfo0 libpthreadpool-dev libpthreadpool0
    libflatbuffers-dev libflatbuffers2 libgtest-dev libgmock-dev
    libpng-dev libpng16-16 zlib1g-dev zlib1g
)

# apt_for <debian-arch> <apt-dir> <apt-get arguments...>: apt-get over a private state that sees
# only <debian-arch>, with the machine's own package sources.
apt_for() {
    local arch=$1 dir=$2
    shift 2
    apt-get -q -o APT::Architecture="$arch" -o APT::Architectures="$arch" \
        -o Dir::State::Lists="$dir/lists" -o Dir::Cache="$dir/cache" \
        -o Dir::State::status="$dir/status" -o Debug::NoLocking=1 \
        -o APT::Sandbox::User="$(id -un)" "$@"
}

# ensure_binfmt <qemu name>: ARM test programs start ARM tools, which the kernel must hand to qemu.
ensure_binfmt() {
    local name=$1 dir=/proc/sys/fs/binfmt_misc
    if [ ! -e "$dir/register" ]; then
        as_root mount -t binfmt_misc binfmt_misc "$dir"
    fi
    if [ ! -e "$dir/$name" ]; then
        as_root update-binfmts --enable "$name"
    fi
    [ -e "$dir/$name" ] || {
        echo "error: no binfmt handler for $name: ARM programs cannot start other ARM programs" >&2
        return 1
    }
}

# ensure_sysroot <target>: unpacks the Debian packages of the target's architecture, again only
# when the set of package files differs from what was unpacked last time.
ensure_sysroot() {
    local target=$1 arch triplet root
    arch=$(target_debian_arch "$target")
    triplet=$(target_triplet "$target")
    root="$here/.cache/cross/$triplet"
    mkdir -p "$root/apt/lists/partial" "$root/apt/cache/archives/partial" "$root/debs"
    touch "$root/apt/status"

    # A failing index of another suite (a mirror in mid-sync) must not stop us as long as the
    # packages below resolve, which the next step checks.
    apt_for "$arch" "$root/apt" update -qq >"$root/apt/update.log" 2>&1 ||
        echo "warning: apt-get update for $arch reported errors (see $root/apt/update.log)" >&2

    # Asked from an empty directory, since apt-get download leaves out files already present.
    local uris
    rm -rf "$root/apt/probe" && mkdir "$root/apt/probe"
    uris=$(cd "$root/apt/probe" && apt_for "$arch" "$root/apt" download --print-uris "${SYSROOT_PACKAGES[@]}") || {
        echo "error: the $arch packages cannot be resolved: ${SYSROOT_PACKAGES[*]}" >&2
        return 1
    }
    local files
    files=$(echo "$uris" | awk '{print $2}' | sort)
    if [ -f "$root/sysroot/.packages" ] && [ "$(cat "$root/sysroot/.packages")" = "$files" ]; then
        echo "== $target sysroot is up to date ($(echo "$files" | wc -l) packages)"
        return 0
    fi

    echo "== $target sysroot: unpacking $(echo "$files" | wc -l) Debian $arch packages"
    (cd "$root/debs" && rm -f ./*.deb && apt_for "$arch" "$root/apt" download -qq "${SYSROOT_PACKAGES[@]}")
    rm -rf "$root/sysroot.new"
    mkdir -p "$root/sysroot.new"
    local deb
    for deb in "$root"/debs/*.deb; do
        dpkg-deb -x "$deb" "$root/sysroot.new"
    done
    # Links such as libz.so point at absolute paths of the machine they are installed on.
    local link
    while IFS= read -r link; do
        ln -sfr "$root/sysroot.new$(readlink "$link")" "$link"
    done < <(find "$root/sysroot.new" -lname '/*')
    check_sysroot "$root/sysroot.new" "$triplet"
    echo "$files" >"$root/sysroot.new/.packages"
    rm -rf "$root/sysroot"
    mv "$root/sysroot.new" "$root/sysroot"
}

# check_sysroot <dir> <triplet>: every library the unpacked ones need is unpacked too, so that
# nothing at run time silently comes from anywhere else.
check_sysroot() {
    local dir=$1 triplet=$2 lib needed missing=0
    while IFS= read -r lib; do
        for needed in $(readelf -d "$lib" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'); do
            if [ -z "$(find "$dir/lib" "$dir/usr/lib/$triplet" -name "$needed" -print -quit)" ]; then
                echo "error: $(basename "$lib") needs $needed, which no unpacked package provides" >&2
                missing=1
            fi
        done
    done < <(find "$dir" -name '*.so*' -type f -exec sh -c 'head -c4 "$1" | grep -q ELF' _ {} \; -print)
    return $missing
}

targets=$(resolve_targets "${1:-all}")
packages=(qemu-user binfmt-support qemu-user-binfmt)
for target in $targets; do
    packages+=("g++-$(target_triplet "$target")")
done
install_packages "${packages[@]}"
for target in $targets; do
    ensure_binfmt "$(target_qemu "$target")"
    ensure_sysroot "$target"
done
