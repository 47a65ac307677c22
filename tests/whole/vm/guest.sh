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

# ---- the card

card()
{
    card_simulator --send --host /tmp/card "$@"
}

# ---- the kernel

counted_by_uio()
{
    cat /sys/class/uio/uio0/event
}

# The last one may be on its way still.
counted_by_all()
{
    raised=$(card show | sed -n 's/.* \([0-9]*\) interrupts raised.*/\1/p')
    by_kernel=$(awk '$NF == "ZYNQFPGA" { for (i = 2; $i ~ /^[0-9]+$/; i++) sum += $i } END { print sum }' /proc/interrupts)
    [ "$(counted_by_uio)" = "$raised" ] && [ "$by_kernel" = "$raised" ]
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
    for _ in $(seq 600); do
        "$@" && return
        sleep 0.1
    done
    echo "not within a minute: $*"
    return 1
}

prompted()
{
    [ "$(grep -cF '>>> Please enter input :' said)" -ge "$prompts" ] || ! kill -0 "$client_pid" 2>/dev/null
}

start_client()
{
    : >said
    rm -f input
    mkfifo input
    mock_client "$@" <input >said 2>&1 &
    client_pid=$!
    exec 3>input
    prompts=1
    wait_until prompted
}

# type_line LINE: up to the next prompt.
type_line()
{
    prompts=$((prompts + 1))
    echo "$1" >&3
    wait_until prompted
}

quit_client()
{
    echo quit >&3
    exec 3>&-
    wait "$client_pid"
}

# ---- what is to be seen

insmod /lib/modules/uio.ko
insmod /lib/modules/uio_memory.ko
card_simulator --uio-device /dev/uio0 --interrupt-file /sys/devices/platform/uio_memory/raise --host /tmp/card \
    --quiet --ready-fd 9 9>ready >card_said 2>&1 </dev/null &
card_pid=$!
wait_until test -s ready
start_client
check "the client comes up" grep -qF '>>> SDK And Firmware are compatible' said
check "the process maps the device" grep -qF /dev/uio0 "/proc/$client_pid/maps"
check "one thread waits for interrupts" test "$(blocking_reads | wc -l)" = 1
type_line 'read 1 9000'
check "a command is answered" grep -qF 'Value of register 0x00009000 on device 0xff00ffff is 0x000051a0' said

check "UIO and the kernel count the card's interrupts" wait_until counted_by_all
check "there were some" test "$raised" -ge 5
check "quit" quit_client

# complete_requests DEVICE: asynchronous requests, completed while the client waits for them.
complete_requests()
{
    start_client -a 1
    counted=$(counted_by_uio)
    reads=$(blocking_reads)
    type_line "init $1"
    check "asynchronous requests are completed" grep -qF 'mock_client:laser config done' said
}

complete_requests 1
check "with interrupts" test "$(counted_by_uio)" -gt "$counted"
check "that woke the client's thread" test "$(blocking_reads)" -gt "$reads"
check "quit" quit_client

check "the card keeps its interrupts to itself" card drop-interrupt always
complete_requests 7
check "without interrupts" test "$(counted_by_uio)" = "$counted"
check "and without the client's thread" test "$(blocking_reads)" = "$reads"
check "quit" quit_client

check "the card ends" card quit
check "with status 0" wait "$card_pid"
check "and said nothing" test ! -s card_said
dmesg | grep -E 'BUG|WARNING|Oops|segfault' >complaints
check "the kernel has nothing to complain of" test ! -s complaints
cat complaints
echo "$passed passed, $failed failed"
poweroff -f
