#!/usr/bin/env bash
# check_exports.sh LIBRARY LIST: the library's exported names, readable, must be exactly those of LIST.
# A name is listed once for its variants (constructors and destructors come in several).
set -euo pipefail
library=$1
list=$2
actual=$(nm -D --defined-only --demangle "$library" | cut -c20- | sort -u)
if ! diff <(sort -u "$list") <(echo "$actual"); then
  echo "The exports differ from $list ('<' expected, '>' found). Review, then update the list." >&2
  exit 1
fi
