#!/usr/bin/env bash
# check_abi.sh INCLUDE BASELINES LIBRARY...: fails when something that programs were built against is gone or has changed since
# the libraries' interfaces were stored in BASELINES. What was added since then passes.
# With STORE=1 in the environment it stores them anew, which is part of a release.
set -euo pipefail
include=$1 baselines=$2
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for library in "$@"; do
  name=$(readelf -d "$library" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
  now=$work/now.abi before=$work/before.abi stored=$baselines/$name.abi.xz
  abidw --headers-dir "$include" --drop-private-types --exported-interfaces-only --no-parameter-names --no-show-locs \
    --no-corpus-path --no-comp-dir-path --no-elf-needed --out-file "$now" "$library"
  grep -q "<class-decl" "$now" || { echo "$library: without debug information nothing can be compared"; exit 1; }
  if [ "${STORE:-}" ]; then
    xz -9e -c "$now" >"$stored"
    continue
  fi
  xz -dc "$stored" >"$before"
  abidiff --no-added-syms "$before" "$now" || { echo "$name: programs built against the last release would break (docs/abi.md)"; exit 1; }
done
