#!/usr/bin/env bash
# installed_test.sh CASE: the library as those meet it who have nothing but what was installed, in a folder
# that was moved since. CMAKE, BUILD, CC, CXX and CFLAGS come in the environment.
set -euo pipefail
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
folder=$(mktemp -d)
card=
trap '[[ -z $card ]] || kill "$card"; rm -rf "$folder"' EXIT

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

# ---- the example

build_monitor()
{
    cp -r "$(dirname "$(find "$prefix" -name monitor.c)")" "$folder/monitor"
    make --directory "$folder/monitor" --silent
    monitor=$folder/monitor/monitor
}

start_card()
{
    mkfifo "$folder/ready"
    "$prefix/bin/card_simulator" --quiet --exit-with-parent --host "$KELVANE_HOST_ROOT" --ready-fd 1 \
        >"$folder/ready" &
    card=$!
    read -r -t 60 <"$folder/ready" || fail "the card is not ready"
}

card_does()
{
    "$prefix/bin/card_simulator" --send --host "$KELVANE_HOST_ROOT" "$@"
}

start_monitor()
{
    build_monitor
    mkfifo "$folder/lines"
    # A shell lets its background jobs ignore SIGINT; the monitor has to cope with that, too.
    "$monitor" >"$folder/lines" 2>"$folder/err" &
    monitor_process=$!
    exec 3<"$folder/lines"
}

# The next line of the monitor that matches, behind the time.
wait_for_line()
{
    local line
    while read -r -t 60 line <&3; do
        [[ $line =~ ^[0-9:]{8}\.[0-9]{3}\ \ $1 ]] && return
    done
    fail "no line matches $1" "$(<"$folder/err")"
}

end_monitor()
{
    local status=0
    kill -INT "$monitor_process"
    wait "$monitor_process" || status=$?
    expect "status after SIGINT" 0 "$status"
    expect "standard error" "" "$(<"$folder/err")"
}

monitor_says_what_is_wrong()
{
    build_monitor
    local status=0
    "$monitor" >"$folder/out" 2>"$folder/err" || status=$?
    expect "status without a card" 1 "$status"
    expect "without a card" \
        "monitor: no UIO device ZYNQFPGA below $KELVANE_HOST_ROOT/sys/class/uio: No such file or directory" \
        "$(<"$folder/err")"
}

# At each of the three siranes.
expect_subscriptions()
{
    local device
    for device in 1 4 7; do
        expect "subscriptions at device $device" "$1" \
            "$(card_does show "$device" | grep -cE '^ *(pm batches|alarm changes) on' || true)"
    done
}

# The one that the monitor asks for last, with the reference of its request.
last_subscription()
{
    card_does show 7 | grep 'alarm changes on' || true
}

wait_for_subscription_after()
{
    local now=
    while [[ -z $now || $now == "$1" ]]; do
        sleep 0.05
        now=$(last_subscription)
    done
}

monitor_watches_until_interrupted()
{
    local before
    start_card
    start_monitor
    wait_for_line "monitor  +board  +up and watching; Ctrl-C ends$"
    wait_for_line "keep-alive  +board  +the firmware is alive$"
    expect_subscriptions 2
    before=$(last_subscription)
    card_does restart
    card_does hang
    wait_for_line "keep-alive  +board  +the firmware does not answer$"
    card_does resume
    wait_for_line "keep-alive  +board  +the firmware is alive$"
    wait_for_subscription_after "$before"
    expect_subscriptions 2
    end_monitor
    expect_subscriptions 0
}

monitor_hears_what_the_card_says()
{
    local before heard=
    start_card
    start_monitor
    wait_for_line "keep-alive  +board  +the firmware is alive$"
    card_does batch-interval 200
    until [[ $heard == *0* && $heard == *1* && $heard == *2* ]]; do
        wait_for_line "performance  +sirane ([012]) port 1  +batch [0-9]+: OSNR [0-9.]+ dB, pre-FEC BER [0-9.e+-]+, "
        heard+=${BASH_REMATCH[1]}
    done
    card_does alarm raise 1.n0 RX_NTWK_LOF
    wait_for_line "alarms  +sirane 0  +host 0 0 0 0, network 2000 0, module "
    card_does unplug 6
    wait_for_line "plug-in  +sirane 1 port 1  +module state 0$"
    card_does plug 6
    wait_for_line "plug-in  +sirane 1 port 1  +module state 1$"
    card_does upset uncorrectable
    wait_for_line "generic  +board  +uncorrectable upset \(1\)$"
    before=$(last_subscription)
    card_does restart warm
    wait_for_line "restart  +board  +1 \(warm\)$"
    wait_for_line "restart  +board  +4 \(warm, done\)$"
    wait_for_subscription_after "$before"
    end_monitor
}

"$1"
