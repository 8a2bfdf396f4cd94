#!/usr/bin/env bash
# Makes frame sequences for trying bodyseg on preview streams, from the sample photos alone:
#   .cache/sequences/astronaut_pan.y4m  8 frames of a 384x384 window panned across astronaut.png
#   .cache/sequences/camera_pan.y4m     8 frames of a 384x384 window panned across camera.png
# The frames are what a rear sensor (orientation 90) delivers, so bodyseg's default orientation
# shows the scene upright. Made with `bodyseg pan`; nothing is downloaded.
# Usage: make-demo-sequence.sh [build-dir]   (default: build/; it must hold the built bodyseg)
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$here/build}
photos=$here/.cache/photos
sequences=$here/.cache/sequences

if [ ! -x "$build/bin/bodyseg" ]; then
    echo "error: $build/bin/bodyseg is missing: build the tools first" >&2
    exit 1
fi
mkdir -p "$sequences"
for name in astronaut camera; do
    if [ ! -s "$photos/$name.png" ]; then
        echo "error: $photos/$name.png is missing: run scripts/fetch-photos.sh first" >&2
        exit 1
    fi
    "$build/bin/bodyseg" pan --force --size 384x384 --frames 8 "$photos/$name.png" \
        "$sequences/${name}_pan.y4m"
done
