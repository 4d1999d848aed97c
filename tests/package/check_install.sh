#!/usr/bin/env bash
# check_install.sh BUILD CONSUMER SAMPLE: installs into a scratch prefix, builds a small host against it with the CMake
# package and with pkg-config, and lets both stream a file.
set -euo pipefail
build=$1 consumer=$2 sample=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null

cmake -S "$consumer" -B "$scratch/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$scratch/cmake" >/dev/null

pc=$(find "$prefix" -name qlip.pc)
PKG_CONFIG_PATH=$(dirname "$pc")
export PKG_CONFIG_PATH
# The install prefix is only known now, so pkg-config is told.
read -r -a flags < <(pkg-config --define-variable=prefix="$prefix" --cflags --libs qlip)
cc -std=c99 "$consumer/host.c" "${flags[@]}" -o "$scratch/host"

library=$(dirname "$(find "$prefix" -name libqlip.so)")
LD_LIBRARY_PATH=$library "$scratch/cmake/host" "$sample" >"$scratch/a"
LD_LIBRARY_PATH=$library "$scratch/host" "$sample" >"$scratch/b"
cmp "$scratch/a" "$scratch/b"
[ "$(head -c 5 "$scratch/a")" = AUDIO ]
