#!/usr/bin/env bash
# Fault injection over the plug-in's sources (the list in scripts/mutants.txt): prints each fault,
# whether the suite caught it, and "N of M faults caught". Builds in a scratch copy of the tree and
# never touches the working tree. Arguments go to scripts/mutate.py (--rev, --only, --work, --keep).
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
source "$here/scripts/lib.sh"
install_packages
exec python3 "$here/scripts/mutate.py" "$@"
