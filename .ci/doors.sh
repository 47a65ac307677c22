# shellcheck shell=bash
# What the front doors share: the Debian packages that they need, and how they configure and build.
# Sourced by run, ctl, test, bench and package.

: "${top:?is the folder of the tree}"

# shellcheck disable=SC2034 # used by those who source this
{
    PROGRAM_PACKAGES=(cmake g++ libmd-dev ninja-build)
    CONTROL_PACKAGES=("${PROGRAM_PACKAGES[@]}" libarchive-dev libasio-dev libcli11-dev libmicrohttpd-dev libncurses-dev libsystemd-dev nlohmann-json3-dev pkg-config prometheus-cpp-dev)
    TEST_PACKAGES=("${CONTROL_PACKAGES[@]}" libgtest-dev make python3 python3-pyte)
    BENCH_PACKAGES=("${TEST_PACKAGES[@]}" libspdlog-dev)
    CLANG_PACKAGES=(clang libclang-rt-14-dev)
    VM_PACKAGES=("${TEST_PACKAGES[@]}" linux-headers-amd64 qemu-system-x86 busybox-static cpio)
    PROMETHEUS_PACKAGES=(prometheus)
    PACKAGE_PACKAGES=(abigail-tools binutils dpkg-dev file help2man)
    PACKAGE_TEST_PACKAGES=(debootstrap lintian systemd-container)
    CHECK_PACKAGES=("${CLANG_PACKAGES[@]}" clang-format clang-tidy shellcheck)
}

# Installs those of the packages that are missing. Where there is no dpkg it trusts that the tools are there.
install_missing()
{
    local installed package missing=() as_root=() failed=0
    if ! command -v dpkg-query >/dev/null; then
        return
    fi
    installed=$(dpkg-query --show --showformat='${db:Status-Status} ${Package}\n' "$@" 2>/dev/null || true)
    for package in "$@"; do
        if ! grep -qxF "installed $package" <<<"$installed"; then
            missing+=("$package")
        fi
    done
    if ((${#missing[@]} == 0)); then
        return
    fi
    echo "installing ${missing[*]}"
    if ((EUID != 0)); then
        as_root=(sudo)
        if ! command -v sudo >/dev/null; then
            echo "this needs root or sudo: apt-get install ${missing[*]}" >&2
            return 1
        fi
    fi
    as_root+=(env DEBIAN_FRONTEND=noninteractive apt-get --yes)
    # While dpkg works apt-get outlives a Ctrl-C and just fails, which is not to be tried again.
    trap 'trap - INT; kill -INT "$BASHPID"' INT
    # A machine that is new, or old, has to learn first where the packages are.
    "${as_root[@]}" install --no-install-recommends "${missing[@]}" ||
        { "${as_root[@]}" update && "${as_root[@]}" install --no-install-recommends "${missing[@]}"; } || failed=1
    trap - INT
    return "$failed"
}

is_configured()
{
    [[ -e $1/build.ninja || -e $1/Makefile ]]
}

# configure BUILD [CMAKE OPTION...]: a build folder keeps the generator that it was made with. Of a first attempt that
# failed it keeps nothing: the compiler may have been at fault.
configure()
{
    local build=$1 how=(--fresh -G Ninja)
    shift
    if is_configured "$build"; then
        how=()
    fi
    cmake -S "$top" -B "$build" "${how[@]}" "$@"
}

# prepare_control BUILD: for the service and its tool, which a folder that plain ./run made leaves out.
prepare_control()
{
    local build=$1 options=(-DKELVANE_CONTROL=ON)
    install_missing "${CONTROL_PACKAGES[@]}" || return
    if grep -qsE '^KELVANE_(CONTROL|TESTS):BOOL=ON$' "$build/CMakeCache.txt"; then
        return
    fi
    is_configured "$build" || options+=(-DKELVANE_TESTS=OFF)
    configure "$build" "${options[@]}"
}

# logged LOG COMMAND...: what the command says goes to LOG, and to standard error too if it fails. On a full disk there
# may be neither a log nor a word from the command.
logged()
{
    local log=$1 said status=0
    shift
    said=$("$@" 2>&1 </dev/null | { tee -- "$log" || true; }) || status=$?
    if ((status != 0)); then
        printf '%s\n' "$said" >&2
        dd if=/dev/zero of="$log.room" bs=8M count=1 status=none || true
        rm -f -- "$log.room"
    fi
    return "$status"
}

# with_lock BUILD COMMAND...: two doors do not build in one folder at once.
with_lock()
{
    local build=$1
    shift
    mkdir -p "$build"
    (
        flock 9
        "$@" 9>&-
    ) 9>"$build/doors.lock"
}
