#!/usr/bin/env bash
# check_abi.sh BASELINES LIBRARY HEADERS...: fails when something that programs were built against is gone or has changed since
# the library's interface was stored in the folder BASELINES. What was added since then passes. Types from other files
# than HEADERS, which abidw knows by their names, are private. With STORE=1 in the environment the interface is stored anew.
set -euo pipefail
baselines=$1 library=$2
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

name=$(readelf -d "$library" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
stored=$baselines/$name.abi.xz
mkdir "$work/headers"
cp -r "$@" "$work/headers"
abidw --headers-dir "$work/headers" --drop-private-types --exported-interfaces-only --no-parameter-names --no-show-locs --no-corpus-path \
  --no-comp-dir-path --no-elf-needed --out-file "$work/now" "$library"
grep -q "<class-decl" "$work/now" || { echo "$library: without debug information nothing can be compared"; exit 1; }
if [ "${STORE:-}" ]; then
  xz -9e -c "$work/now" >"$stored"
  exit
fi
xz -dc "$stored" >"$work/before"
abidiff --no-added-syms "$work/before" "$work/now" || { echo "$name: programs built against the last release would break (docs/abi.md)"; exit 1; }
