#!/usr/bin/env bash
# check_static.sh ARCHIVE LIBRARY: the archive's global names are those of the shared library, so that none meets a name of
# the host's own; and the shared library can be opened at run time wherever there is room for thread-locals or not.
set -euo pipefail
archive=$1 library=$2
names() { awk '{print $NF}' | grep . | sort -u; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
nm --defined-only --extern-only --format=posix "$archive" | awk 'NF > 1 {print $1}' | names >"$scratch/archive"
nm --dynamic --defined-only --format=posix "$library" | awk '{print $1}' | names >"$scratch/library"
comm -23 "$scratch/archive" "$scratch/library" >"$scratch/leaked"
if [ -s "$scratch/leaked" ]; then
  echo "global in $archive and not exported by $library:"
  cat "$scratch/leaked"
  exit 1
fi
[ "$(wc -l <"$scratch/archive")" -gt 500 ] || { echo "too few names to be true"; exit 1; }
if readelf -dW "$library" | grep -q STATIC_TLS; then
  echo "$library has initial-exec thread-locals"
  exit 1
fi

cat >"$scratch/host.c" <<'END'
#include "qlip/qlip.h"
int bits, flip, amr_wb_size, parse, moov_box, stbl_box;
int main(void) { return qlip_Close(0) == 5 && bits + flip + amr_wb_size + parse + moov_box + stbl_box == 0 ? 0 : 1; }
END
include=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../include" && pwd)
cc -std=c99 -I"$include" "$scratch/host.c" "$archive" -lstdc++ -lm -o "$scratch/host"
"$scratch/host"
