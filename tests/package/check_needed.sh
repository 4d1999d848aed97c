#!/usr/bin/env bash
# check_needed.sh LIBRARY HOST_LIBRARY: the library needs the C++ and C runtimes, the loader among them, and nothing else,
# the host kit needs the library besides, and both are named as hosts link to them.
set -euo pipefail
check() {
  local file=$1 name=$2 allowed=$3 others
  others=$(readelf -d "$file" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -vE "^($allowed)\\.so\\." || true)
  [ -z "$others" ] || { echo "$file needs: $others" >&2; exit 1; }
  readelf -d "$file" | grep -q "SONAME.*\[$name\]"
}
check "$1" libqlip.so.1 'libstdc\+\+|libm|libc|libgcc_s|ld-linux-x86-64'
check "$2" libqlip_host.so.1 'libqlip|libstdc\+\+|libm|libc|libgcc_s'
