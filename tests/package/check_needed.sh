#!/usr/bin/env bash
# check_needed.sh LIBRARY: the library needs the C++ and C runtimes and nothing else.
set -euo pipefail
others=$(readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -vE '^(libstdc\+\+|libm|libc|libgcc_s)\.so\.' || true)
[ -z "$others" ] || { echo "needs: $others" >&2; exit 1; }
readelf -d "$1" | grep -q 'SONAME.*\[libqlip.so.1\]'
