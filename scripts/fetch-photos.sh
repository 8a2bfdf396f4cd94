#!/usr/bin/env bash
# Puts the sample photos astronaut.png, camera.png and rocket.jpg into .cache/photos/ (or the
# directory given). They come from Debian's python3-skimage package, which is not installed: its
# .deb is downloaded into a temporary directory, unpacked there, and only the three photos are
# kept. Does nothing, and needs no network, when the photos are already there.
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
source "$here/scripts/lib.sh"
dest=${1:-$here/.cache/photos}
photos=(astronaut.png camera.png rocket.jpg)

have_all() {
    local photo
    for photo in "${photos[@]}"; do
        [ -s "$dest/$photo" ] || return 1
    done
}

if have_all; then
    echo "photos: $dest"
    exit 0
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# apt fetches as its unprivileged user, which must be able to write the download directory.
mkdir "$work/deb"
chmod a+rwx "$work/deb"
download() { (cd "$work/deb" && apt-get download -qq python3-skimage) >/dev/null 2>&1; }
if ! download; then
    # A machine that never ran apt-get update has no package lists to download from.
    as_root apt-get update -qq
    download || {
        echo "error: cannot download python3-skimage with apt-get" >&2
        exit 1
    }
fi
dpkg-deb -x "$work"/deb/python3-skimage_*.deb "$work/root"
data=$(dirname "$(find "$work/root" -path '*/skimage/data/astronaut.png' -print -quit)")
mkdir -p "$dest"
for photo in "${photos[@]}"; do
    if [ ! -s "$data/$photo" ]; then
        echo "error: python3-skimage has no skimage/data/$photo" >&2
        exit 1
    fi
    cp "$data/$photo" "$dest/$photo"
done
echo "photos: $dest"
