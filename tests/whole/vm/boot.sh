#!/usr/bin/env bash
# boot.sh BUILD: boots Debian's kernel in an emulated machine with a UIO device over plain memory, and runs
# the programs of the build folder on it: see guest.sh, whose lines and summary are this script's.
#
# Nothing of it touches this machine's own kernel: the image is unpacked, not installed. Status 77 when the
# machine cannot be put together here.
set -euo pipefail
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
top=$(readlink -f "$here/../../..")
build=$(readlink -f "$1")
work=$build/vm
readonly CANNOT_RUN=77
readonly MOST_SECONDS=300
# shellcheck source=.ci/doors.sh
. "$top/.ci/doors.sh"

skip()
{
    echo "SKIPPED: no virtual machine, $*" >&2
    exit "$CANNOT_RUN"
}

# The headers are those of one kernel; its image has to be of the same version.
find_kernel()
{
    local depends
    depends=$(dpkg-query --show --showformat='${Depends}' linux-headers-amd64)
    [[ $depends =~ linux-headers-([^ ]+)\ \(=\ ([^\)]+)\) ]] ||
        skip "linux-headers-amd64 does not tell its kernel: $depends"
    kernel=${BASH_REMATCH[1]}
    version=${BASH_REMATCH[2]}
}

unpack_kernel()
{
    local unpacked=$work/linux-$version
    image=$unpacked/boot/vmlinuz-$kernel
    uio_module=$unpacked/lib/modules/$kernel/kernel/drivers/uio/uio.ko
    [[ ! -e $unpacked/complete ]] || return 0
    rm -rf "$work"/linux-*
    mkdir -p "$unpacked/package"
    (cd "$unpacked/package" && apt-get --quiet --quiet --option APT::Sandbox::User=root download "linux-image-$kernel=$version") ||
        skip "the kernel's image is not to be had"
    dpkg-deb --extract "$unpacked"/package/*.deb "$unpacked"
    rm -rf "$unpacked/package"
    touch "$unpacked/complete"
}

build_module()
{
    mkdir -p "$work/module"
    cp "$here"/module/* "$work/module"
    make --silent -C "/usr/src/linux-headers-$kernel" M="$work/module" modules
    strip --strip-debug "$work/module/uio_memory.ko"
}

# add_program FILE: with the libraries that it needs, where it looks for them.
add_program()
{
    local library
    cp "$1" "$root/bin"
    ldd "$1" | grep -o '/[^ ]*' | while read -r library; do
        mkdir -p "$root$(dirname "$library")"
        cp --dereference "$library" "$root$library"
    done
}

pack_system()
{
    local programs=$build/platforms/common/drivers/kelvane
    root=$work/root
    rm -rf "$root"
    mkdir -p "$root"/{bin,dev,proc,sys,tmp,root,lib/modules}
    cp /bin/busybox "$root/bin"
    cp "$here/guest.sh" "$root/init"
    chmod +x "$root/init"
    cp "$uio_module" "$work/module/uio_memory.ko" "$root/lib/modules"
    add_program "$programs/mock_client/mock_client"
    add_program "$programs/card_simulator/card_simulator"
    (cd "$root" && find . | cpio --quiet --create --format=newc) | gzip -1 >"$work/system.gz"
}

# Without the machine's own virtualisation, which few test machines have.
boot()
{
    timeout --foreground "$MOST_SECONDS" qemu-system-x86_64 -machine q35 -accel tcg,thread=multi -cpu max \
        -smp 2 -m 512 -nodefaults -no-user-config -display none -serial stdio -no-reboot \
        -kernel "$image" -initrd "$work/system.gz" \
        -append "console=ttyS0 quiet panic=-1 mitigations=off tsc=reliable" </dev/null |
        sed --unbuffered 's/\r//g; /\] reboot: Power down$/d'
}

[[ $(dpkg --print-architecture 2>/dev/null) == amd64 ]] || skip "it takes Debian on amd64"
install_missing "${VM_PACKAGES[@]}" || skip "its packages are not to be had: ${VM_PACKAGES[*]}"
find_kernel
mkdir -p "$work"
unpack_kernel
build_module
pack_system

echo "booting Linux $kernel"
if ! boot | tee "$work/transcript"; then
    echo "the machine did not end by itself within $MOST_SECONDS s"
    exit 1
fi
summary=$(tail -n 1 "$work/transcript")
[[ $summary =~ ^[1-9][0-9]*\ passed,\ 0\ failed$ ]] || {
    [[ $summary =~ ^[0-9]+\ passed,\ [0-9]+\ failed$ ]] || echo "the machine ended before its checks"
    exit 1
}
