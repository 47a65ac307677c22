#!/bin/sh
# shared_library_test.sh READELF LIBRARY: its soname is the one that programs were linked with, and it gives
# them the operations of public_operations.txt and nothing else.
set -eu
readelf=$1
library=$2
expected=$(dirname "$0")/public_operations.txt
export LC_ALL=C

soname=$("$readelf" --dynamic --wide "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]$/\1/p')
if [ "$soname" != libkelvane.so.1 ]; then
    echo "the soname is $soname" >&2
    exit 1
fi

# Value, size, type, binding, visibility, section, name: an absolute symbol only names a version.
exported=$("$readelf" --dyn-syms --wide "$library" |
    awk '$5 != "LOCAL" && $7 != "UND" && $7 != "ABS" && $1 ~ /^[0-9]+:$/ { sub(/@.*/, "", $8); print $8 }' | sort)
if ! printf '%s\n' "$exported" | diff -u "$expected" -; then
    echo "the exported names are not those of $expected" >&2
    exit 1
fi
