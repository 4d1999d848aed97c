#!/usr/bin/env bash
# check_install.sh BUILD CONSUMER SAMPLE: installs into a scratch prefix, builds small hosts against it with the CMake
# package and with pkg-config, one on the library and one on the host kit, and lets them stream a file.
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
read -r -a flags < <(pkg-config --cflags --libs qlip)
cc -std=c99 "$consumer/host.c" "${flags[@]}" -o "$scratch/host"
read -r -a flags < <(pkg-config --cflags --libs qlip-host)
cc -std=c99 "$consumer/packets.c" "${flags[@]}" -o "$scratch/packets"
read -r -a flags < <(pkg-config --static --cflags --libs qlip)
cc -std=c99 "$consumer/host.c" -Wl,-Bstatic "${flags[@]}" -Wl,-Bdynamic -o "$scratch/host_static"

library=$(dirname "$(find "$prefix" -name libqlip.so)")
LD_LIBRARY_PATH=$library "$scratch/cmake/host" "$sample" >"$scratch/a"
LD_LIBRARY_PATH=$library "$scratch/host" "$sample" >"$scratch/b"
cmp "$scratch/a" "$scratch/b"
"$scratch/host_static" "$sample" | cmp "$scratch/a" -
[ "$(head -c 5 "$scratch/a")" = AUDIO ]
for packets in "$scratch/packets" "$scratch/cmake/packets" "$scratch/cmake/packets_static"; do
  LD_LIBRARY_PATH=$library "$packets" "$sample" >"$scratch/c"
  [ "$(wc -c <"$scratch/c")" -eq $((151 * (12 + 33))) ] # 151 frames of 12.2 kbit/s
done
