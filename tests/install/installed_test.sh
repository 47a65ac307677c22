#!/usr/bin/env bash
# installed_test.sh CASE: the library as those meet it who have nothing but what was installed, in a folder
# that was moved since. CMAKE, BUILD, CC, CXX and CFLAGS come in the environment.
set -euo pipefail
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$CMAKE" --install "$BUILD" --prefix "$folder/first" >"$folder/install.log"
prefix=$folder/prefix
mv "$folder/first" "$prefix"
libraries=$(dirname "$(find "$prefix" -name libkelvane_platform.a)")
export PKG_CONFIG_PATH=$libraries/pkgconfig
export KELVANE_HOST_ROOT="$folder/the host"
export KELVANE_TRACE_DIR=$folder
export CC CFLAGS
read -ra cflags <<<"$CFLAGS"

fail()
{
    printf '%s\n' "$@" >&2
    exit 1
}

expect()
{
    [[ $2 == "$3" ]] || fail "$1: expected" "$2" "and got" "$3"
}

every_header_stands_alone()
{
    local header
    while read -r header; do
        "$CC" -std=c11 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I"$prefix/include/kelvane" -x c "$header"
        "$CXX" -std=c++20 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I"$prefix/include/kelvane" -x c++ "$header"
    done < <(find "$prefix/include" -name '*.h')
    expect "the public headers" "host_tree.h kelvane.h kelvane_arm_errors.h kelvane_records.h kelvane_reserved.h mmio.h uio.h" \
        "$(find "$prefix/include" -name '*.h' -printf '%f\n' | LC_ALL=C sort | xargs)"
}

# With $@ for pkg-config, and the libraries that it names.
build_consumer()
{
    local flags
    read -ra flags <<<"$(pkg-config --cflags --libs "$@")"
    "$CC" -std=c11 -Wall -Wextra -Wpedantic -Werror "${cflags[@]}" "$here/consumer/consumer.c" \
        -o "$folder/consumer" "${flags[@]}"
}

pkg_config_finds_it()
{
    build_consumer kelvane kelvane-platform
    expect "with the shared library" "1.43 none" "$(LD_LIBRARY_PATH=$libraries "$folder/consumer")"
    rm "$libraries"/libkelvane.so*
    build_consumer --static kelvane kelvane-platform
    expect "with the static library" "1.43 none" "$("$folder/consumer")"
}

find_package_finds_it()
{
    "$CMAKE" -S "$here/consumer" -B "$folder/build" -DCMAKE_PREFIX_PATH="$prefix" >"$folder/log"
    "$CMAKE" --build "$folder/build" >"$folder/log" || fail "$(<"$folder/log")"
    expect "with the shared library" "1.43 none" "$("$folder/build/with_kelvane")"
    expect "with the static library" "1.43 none" "$("$folder/build/with_kelvane_static")"
}

"$1"
