#!/bin/bash
# What an administrator, a user and a developer do with the packages, on a Debian that has nothing else. It runs as a
# service of the container, with the packages in /packages and what they depend on in apt's cache. The last line sums up.
set -u
export LANG=C DEBIAN_FRONTEND=noninteractive
readonly MOST_SECONDS=60
readonly tools=(/packages/kelvane-tools_*.deb /packages/kelvane-simulator_*.deb)
readonly recording=/var/lib/kelvane/card.recording
passed=0
failed=0

# check WHAT COMMAND...
check()
{
    local what=$1 said status=0
    shift
    said=$("$@" 2>&1) || status=$?
    if ((status == 0)); then
        passed=$((passed + 1))
        echo "ok      $what"
    else
        failed=$((failed + 1))
        printf 'FAILED  %s (status %s)\n%s\n' "$what" "$status" "$said"
    fi
}

# Of the same words; a difference is shown.
is()
{
    diff <(printf '%s\n' "$1") <(printf '%s\n' "$2")
}

# status_is STATUS COMMAND...
status_is()
{
    local wanted=$1 status=0
    shift
    "$@" || status=$?
    [[ $status == "$wanted" ]] || {
        echo "status $status"
        return 1
    }
}

# soon COMMAND...: once it succeeds.
soon()
{
    local end=$((SECONDS + MOST_SECONDS))
    until "$@"; do
        ((SECONDS < end)) || return 1
        sleep 0.2
    done
}

as_engineer()
{
    setpriv --reuid engineer --regid engineer --init-groups "$@"
}

has_module()
{
    as_engineer kelvanectl list | grep -E '^module/0 '
}

install()
{
    apt-get --yes --no-install-recommends install "$@"
}

# Everything but what the system itself writes as time goes by.
snapshot()
{
    find / /run /dev/shm -xdev \( -path /proc -o -path /sys -o -path /tmp -o -path /var/tmp -o -path /var/cache \
        -o -path /var/log -o -path /var/lib/dpkg -o -path /var/lib/apt -o -path '/run/systemd' -o -path /run/log \
        -o -path '/run/user' -o -path '/run/lock' -o -path /var/backups -o -path '/etc/*-' -o -path /etc/.pwd.lock \
        -o -path /var/lib/systemd/timers -o -path /var/lib/private -o -path /run/udev -o -path /run/agetty.reload \) -prune \
        -o -printf '%p %y %m %u %g %l\n' | sort -u
    find /etc -type f ! -name '*-' ! -name ld.so.cache -exec sha256sum {} + | sort
}

of_the_unit()
{
    systemctl show --property "$1" --value "$2"
}

useradd --create-home engineer
snapshot >/tmp/before

check "the tools and the card install" install "${tools[@]}"
check "the service runs" soon systemctl --quiet is-active kelvaned.socket kelvaned.service
check "it starts with the system" systemctl --quiet is-enabled kelvaned.socket kelvaned.service
check "it is not root" is kelvane "$(of_the_unit User kelvaned.service)"
check "a simulated card does not" status_is 3 systemctl is-active kelvane-simulator.service
check "nor with the system" status_is 1 systemctl is-enabled kelvane-simulator.service
check "the socket is the group's" is "root:kelvane 660" "$(stat --format '%U:%G %a' /run/kelvane/kelvaned.sock)"
check "who is not in the group has no right to it" status_is 3 as_engineer kelvanectl list
usermod --append --groups kelvane engineer
check "no card is there" status_is 3 as_engineer kelvanectl list

cat >>/etc/default/kelvaned <<END
KELVANED_OPTIONS="--record $recording"
KELVANE_HOST_ROOT=/run/kelvane-simulator
END
check "a simulated card starts" systemctl enable --now kelvane-simulator.service
check "the service takes it" systemctl restart kelvaned.service
check "a user of the group lists its devices" soon has_module
check "and sets a laser" as_engineer kelvanectl set module/0 laser on
check "which is on" is yes "$(as_engineer kelvanectl --json get module/0 laser | grep -q '"laser":true' && echo yes)"
check "a verb reaches the card" runuser -u kelvane -- card_simulator --send --host /run/kelvane-simulator unplug 2
check "the service lived through all of that" is 0 "$(of_the_unit NRestarts kelvaned.service)"
check "an upgrade" install --reinstall "${tools[@]}"
check "after it the service has the card again" soon has_module
check "what an administrator wrote is still there" grep --quiet kelvane-simulator$ /etc/default/kelvaned
check "the recording tells of commands" \
    bash -o pipefail -c "kelvanectl recording show $recording | grep get_laser >/dev/null"
check "the service's trace rings are read" trace_ring_reader --user "$(id --user kelvane)" --last 1
for page in man1/kelvanectl.1 man1/mock_client.1 man1/trace_ring_reader.1 man1/card_simulator.1 man8/kelvaned.8; do
    check "a page ${page#*/}" gunzip --test "/usr/share/man/$page.gz"
done

check "removal" apt-get --yes purge kelvane-tools kelvane-simulator
check "of what they needed too" apt-get --yes --purge autoremove
snapshot >/tmp/after
check "nothing is left" diff /tmp/before /tmp/after

check "the library's development files install" install /packages/libkelvane1_*.deb /packages/libkelvane-dev_*.deb
check "with a compiler" install g++ libc6-dev make pkg-config
cp -r /usr/share/doc/libkelvane-dev/examples/monitor /tmp
check "an application is built" make --directory /tmp/monitor
check "it has the library of the package" grep --quiet '/lib/x86_64-linux-gnu/libkelvane.so.1 ' <(ldd /tmp/monitor/monitor)
check "and runs" is "monitor: no UIO device ZYNQFPGA below /sys/class/uio: No such file or directory" \
    "$(/tmp/monitor/monitor 2>&1)"

echo "$passed passed, $failed failed"
