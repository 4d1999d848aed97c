#!/usr/bin/env bash
# check_headers.sh INCLUDE_DIR CC CXX: every public header compiles alone as C++17, those for C hosts as C99
# as well.
set -euo pipefail
include=$1 cc=$2 cxx=$3
strict=(-Wall -Wextra -Wpedantic -Wshadow -Werror -fsyntax-only -I "$include")
for header in qlip limits host native_stream; do
  echo "#include \"qlip/$header.h\"" | "$cc" -std=c99 -x c "${strict[@]}" -
done
count=0
while IFS= read -r header; do
  echo "#include \"${header#"$include"/}\"" | "$cxx" -std=c++17 -x c++ "${strict[@]}" -
  count=$((count + 1))
done < <(find "$include" -name '*.h' | sort)
echo "$count headers compile alone"
