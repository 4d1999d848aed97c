#!/usr/bin/env bash
# check_choices.sh TOP CC CXX: what a build makes of the choices that other projects and packagers have. Configures only.
set -euo pipefail
top=$1
export CC=$2 CXX=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
expect() { [ "$2" = "$3" ] || { echo "$1: got '$2', expected '$3'"; exit 1; }; }
configure() { cmake -G Ninja -S "$1" -B "$scratch/build" --fresh -DQLIP_BUILD_TESTS=OFF -DQLIP_BUILD_TOOL=OFF "${@:2}" >/dev/null; }
made() { ninja -C "$scratch/build" -n | sed -n 's,.* library .*\(libqlip[a-z_]*\.[a-z]*\).*,\1,p' | sort -u | xargs; }

configure "$top"
expect "without a choice" "$(made)" "libqlip.a libqlip.so libqlip_host.a libqlip_host.so"
configure "$top" -DBUILD_SHARED_LIBS=ON
expect "shared" "$(made)" "libqlip.so libqlip_host.so"
configure "$top" -DBUILD_SHARED_LIBS=OFF -DCMAKE_INSTALL_LIBDIR=/opt/qlip/lib
expect "static" "$(made)" "libqlip.a libqlip_host.a"

# A folder of libraries by an absolute path stays where it is, whatever prefix the installation names.
DESTDIR=$scratch/root cmake --install "$scratch/build" --prefix /usr/local --component pkgconfig >/dev/null
export PKG_CONFIG_LIBDIR=$scratch/root/opt/qlip/lib/pkgconfig PKG_CONFIG_ALLOW_SYSTEM_CFLAGS=1
expect "absolute folder" "$(pkg-config --cflags --libs qlip-host | xargs)" \
  "-I/usr/local/include -L/opt/qlip/lib -lqlip_host -lqlip -lstdc++ -lm"

# In another project: its own flags alone, no tests or tool, nothing to install.
mkdir "$scratch/outer"
cat >"$scratch/outer/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(outer LANGUAGES C CXX)
add_subdirectory($top qlip)
file(WRITE \${CMAKE_BINARY_DIR}/main.cpp "int main() {}")
add_executable(outer \${CMAKE_BINARY_DIR}/main.cpp)
target_link_libraries(outer PRIVATE qlip::host)
END
cmake -G Ninja -S "$scratch/outer" -B "$scratch/build" --fresh >/dev/null
ninja -C "$scratch/build" -t commands outer | grep 'main\.cpp\.o -c' >"$scratch/command"
! grep -E -- '-W|semantic' "$scratch/command" || { echo "flags leak into other projects"; exit 1; }
! ninja -C "$scratch/build" -n | grep -q '_test\|qlip_tool\|bench' || { echo "more than the libraries is made"; exit 1; }
expect "installed in another project" "$(find "$scratch/build/qlip" -name cmake_install.cmake -exec grep -h 'file(INSTALL' {} +)" ""
