#!/usr/bin/env bash
# package_test.sh BUILD: tries the packages of ./package. Those that another folder makes have to be the same bytes;
# lintian may find no error; and a bare Debian, booted in a container, has to live with them: see guest.sh, whose lines
# and summary are this script's. Status 77 when there can be no such container here.
set -euo pipefail
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
top=$(readlink -f "$here/../../..")
build=$(mkdir -p "$1" && readlink -f "$1")
work=$build/package-test
root=$work/root
readonly CANNOT_RUN=77
readonly MOST_SECONDS=600

skip()
{
    echo "SKIPPED: no container, $*" >&2
    exit "$CANNOT_RUN"
}

# The tree as it stands, in a folder of another name and depth.
build_elsewhere()
{
    local elsewhere=$work/else/where
    rm -rf "$work/else"
    mkdir -p "$elsewhere"
    (cd "$top" && git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents --target-directory "$elsewhere")
    # Away from the default umask, and with another clock's hour.
    (umask 027 && TZ=Asia/Tokyo KELVANE_BUILD=$elsewhere/of "$elsewhere/package") >"$work/else/log" 2>&1 ||
        { tail -n 30 "$work/else/log" && return 1; }
    local package
    for package in "$build"-package/packages/*.deb; do
        cmp "$package" "$elsewhere/of-package/packages/${package##*/}"
    done
    echo "the same bytes from two folders"
}

make_system()
{
    if [[ ! -e $work/base/complete ]]; then
        rm -rf "$work/base"
        debootstrap bookworm "$work/base" >"$work/debootstrap.log" 2>&1 ||
            { tail -n 5 "$work/debootstrap.log" && skip "debootstrap failed"; }
        touch "$work/base/complete"
    fi
    rm -rf "$root"
    cp --archive "$work/base" "$root"
    mkdir "$root/packages"
    cp "$build"-package/packages/*.deb "$root/packages"
    cp --dereference /etc/resolv.conf "$root/etc/resolv.conf"
    # In the container there is no network.
    chroot "$root" sh -c "apt-get --quiet --quiet update &&
        apt-get --quiet --quiet --yes --download-only --no-install-recommends install /packages/*.deb &&
        apt-get --quiet --quiet --yes --download-only --no-install-recommends install g++ libc6-dev make pkg-config" >"$work/download.log" 2>&1 ||
        { tail -n 5 "$work/download.log" && skip "what the packages need is not to be had"; }
    cp "$here/guest.sh" "$root/guest.sh"
    cat >"$root/etc/systemd/system/guest.service" <<END
[Unit]
After=multi-user.target
SuccessAction=poweroff
FailureAction=poweroff
[Service]
Type=exec
ExecStart=/guest.sh
StandardOutput=truncate:/guest.log
StandardError=inherit
[Install]
WantedBy=graphical.target
END
    mkdir -p "$root/etc/systemd/system/graphical.target.wants"
    ln -s ../guest.service "$root/etc/systemd/system/graphical.target.wants"
}

boot()
{
    timeout --kill-after=10 "$MOST_SECONDS" systemd-nspawn --quiet --register=no --keep-unit --private-network --boot \
        --machine="kelvane-package-$$" --directory "$root" </dev/null >"$work/console.log" 2>&1
}

((EUID == 0)) || skip "it needs root"
mkdir -p "$work"
build_elsewhere
lintian --fail-on error "$build"-package/packages/*.deb
make_system
echo "booting a bare Debian"
boot || { tail -n 30 "$work/console.log" && cat "$root/guest.log" && exit 1; }
cat "$root/guest.log"
[[ $(tail -n 1 "$root/guest.log") =~ ^[1-9][0-9]*\ passed,\ 0\ failed$ ]]
