#!/usr/bin/env bash
# check_install.sh BUILD EXAMPLES SAMPLE: installs into a scratch prefix, builds two of the examples against it, one on the
# library and one on the host kit, with the CMake package and with pkg-config, shared and static: all write one stream.
set -euo pipefail
build=$1 examples=$2 sample=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null

cat >"$scratch/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES C CXX)
find_package(qlip REQUIRED)
add_executable(library $examples/callbacks.c)
target_link_libraries(library PRIVATE qlip::qlip)
add_executable(kit $examples/stream_file.c)
target_link_libraries(kit PRIVATE qlip::host)
add_executable(kit_static $examples/stream_file.c)
target_link_libraries(kit_static PRIVATE qlip::host_static)
set_target_properties(kit_static PROPERTIES LINKER_LANGUAGE CXX)
END
cmake -S "$scratch" -B "$scratch/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$scratch/cmake" >/dev/null

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name qlip.pc)")
export PKG_CONFIG_PATH
read -r -a flags < <(pkg-config --cflags --libs qlip)
cc -std=c99 "$examples/callbacks.c" "${flags[@]}" -o "$scratch/library"
read -r -a flags < <(pkg-config --cflags --libs qlip-host)
cc -std=c99 "$examples/stream_file.c" "${flags[@]}" -o "$scratch/kit"
read -r -a flags < <(pkg-config --static --cflags --libs qlip)
cc -std=c99 "$examples/callbacks.c" -Wl,-Bstatic "${flags[@]}" -Wl,-Bdynamic -o "$scratch/library_static"

"$scratch/library_static" "$sample" "$scratch/expected"
[ "$(wc -c <"$scratch/expected")" -eq $((68 + 151 * (24 + 33))) ] # 151 frames of 12.2 kbit/s
LD_LIBRARY_PATH=$(dirname "$(find "$prefix" -name libqlip.so)")
export LD_LIBRARY_PATH
for host in library kit cmake/library cmake/kit cmake/kit_static; do
  "$scratch/$host" "$sample" "$scratch/stream"
  cmp "$scratch/expected" "$scratch/stream"
done
