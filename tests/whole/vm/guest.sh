#!/bin/busybox sh
# shellcheck shell=dash
# The first process of the virtual machine: a card in the memory of the kernel's UIO device, the client on it
# as on any host, and what is to be seen of both and of the kernel. The last line is the summary.
export PATH=/bin
/bin/busybox --install -s /bin
mount -t devtmpfs dev /dev
mount -t proc proc /proc
mount -t sysfs sys /sys
mkdir -p /dev/shm
mount -t tmpfs shm /dev/shm
cd /tmp || exit

INTERRUPT_FILE=/sys/devices/platform/uio_memory/raise
PROMPT='>>> Please enter input :'
passed=0
failed=0

# check WHAT COMMAND...: one line, and on failure what the client said last.
check()
{
    what=$1
    shift
    if "$@"; then
        echo "ok      $what"
        passed=$((passed + 1))
    else
        echo "FAILED  $what: $*"
        failed=$((failed + 1))
        tail -n 20 said 2>/dev/null
    fi
}

finish()
{
    dmesg | grep -E 'BUG|WARNING|Oops|segfault' >complaints
    check "the kernel has nothing to complain of" test ! -s complaints
    cat complaints
    echo "$passed passed, $failed failed"
    poweroff -f
}

equal()
{
    [ "$1" = "$2" ] || {
        echo "$1 is not $2"
        return 1
    }
}

# ---- the card

card()
{
    card_simulator --send --host /tmp/card "$@"
}

raised_by_card()
{
    card show | sed -n 's/.* \([0-9]*\) interrupts raised.*/\1/p'
}

start_card()
{
    card_simulator --uio-device /dev/uio0 --interrupt-file "$INTERRUPT_FILE" --host /tmp/card --quiet \
        --ready-fd 9 9>ready >card_said 2>&1 </dev/null &
    card_pid=$!
    wait_until test -s ready
}

# ---- the kernel

counted_by_uio()
{
    cat /sys/class/uio/uio0/event
}

counted_by_kernel()
{
    awk '$NF == "ZYNQFPGA" { for (i = 2; $i ~ /^[0-9]+$/; i++) sum += $i } END { print sum }' /proc/interrupts
}

# How often the client's thread that reads the device was given up the processor, which is once a read.
blocking_reads()
{
    for comm in /proc/"$client_pid"/task/*/comm; do
        if grep -q '^coh_intr_forwar' "$comm"; then
            sed -n 's/^voluntary_ctxt_switches:[^0-9]*//p' "${comm%comm}status"
        fi
    done
}

# ---- the client

wait_until()
{
    tries=0
    until "$@"; do
        tries=$((tries + 1))
        if [ $tries -gt 600 ]; then
            echo "not within a minute: $*"
            return 1
        fi
        sleep 0.1
    done
}

prompts()
{
    grep -cF "$PROMPT" said
}

prompted()
{
    [ "$(prompts)" -ge "$1" ] || ! kill -0 "$client_pid" 2>/dev/null
}

start_client()
{
    : >said
    rm -f input
    mkfifo input
    mock_client "$@" <input >said 2>&1 &
    client_pid=$!
    exec 3>input
    wait_until prompted 1
}

# type LINE: up to the next prompt; what came stands in `answer` then.
type_line()
{
    said_before=$(wc -c <said)
    wanted=$(($(prompts) + 1))
    echo "$1" >&3
    wait_until prompted "$wanted"
    tail -c +$((said_before + 1)) said >answer
    echo "        $1"
    sed 's/^/        | /; $d' answer
}

says()
{
    grep -qF -e "$2" "$1"
}

quit_client()
{
    echo quit >&3
    wait "$client_pid"
    status=$?
    exec 3>&-
    return $status
}

# ---- what is to be seen

insmod /lib/modules/uio.ko
insmod /lib/modules/uio_memory.ko
check "the kernel has the device" equal "$(cat /sys/class/uio/uio0/name)" ZYNQFPGA
check "with 64 MiB" equal "$(cat /sys/class/uio/uio0/maps/map0/size)" 0x0000000004000000
check "the node is the kernel's" test -c /dev/uio0
check "no tree is named" equal "${KELVANE_HOST_ROOT-unset}" unset

start_card
check "the card is ready" says ready /tmp/card
check "no interrupt before a client comes" equal "$(counted_by_uio)" 0

start_client
check "the client comes up" says said '>>> SDK And Firmware are compatible'
check "no call failed" equal "$(grep -c '^failed' said)" 0
check "the process maps the device" says "/proc/$client_pid/maps" /dev/uio0
check "one thread waits for interrupts" equal "$(blocking_reads | wc -l)" 1

type_line 'write 1 9010 1234'
type_line 'read 1 9010'
check "write and read" says answer 'Value of register 0x00009010 on device 0xff00ffff is 0x00001234'
check "an alarm is raised" card alarm raise 5 RX_NTWK_LOF
type_line 'alarms 4'
check "alarms" says answer 'RX Network LOF (Loss of Frame)                     : 1'

raised=$(raised_by_card)
check "the card raised interrupts" test "$raised" -ge 10
check "UIO counted each" equal "$(counted_by_uio)" "$raised"
check "so did the kernel" equal "$(counted_by_kernel)" "$raised"
check "quit" quit_client

# complete_requests DEVICE: asynchronous requests, completed while the client waits for them.
complete_requests()
{
    start_client -a 1
    counted=$(counted_by_uio)
    reads=$(blocking_reads)
    type_line "init $1"
    check "asynchronous requests are completed" says answer 'mock_client:laser config done'
}

complete_requests 1
check "with interrupts" test "$(counted_by_uio)" -gt "$counted"
check "that woke the client's thread" test "$(blocking_reads)" -gt "$reads"
check "quit" quit_client

check "the card keeps its interrupts to itself" card drop-interrupt always
complete_requests 7
check "without interrupts" equal "$(counted_by_uio)" "$counted"
check "and without the client's thread" equal "$(blocking_reads)" "$reads"
check "quit" quit_client

check "the card ends" card quit
check "with status 0" wait "$card_pid"
check "and said nothing" test ! -s card_said
finish
