#!/usr/bin/env bash
# Becomes kelvanectl, for the service of the newest ./run --service; builds it when it is not there.
set -euo pipefail
top=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
build=${KELVANE_BUILD:-$top/build}
tool=$build/platforms/common/drivers/kelvane/kelvanectl/kelvanectl
readonly CANNOT_START=125

build_tool()
{
    prepare_control "$build" && cmake --build "$build" --target kelvanectl
}

# One that is there may be older than its sources: ./run --service builds it anew, and a command here is to be quick.
if [[ ! -x $tool ]]; then
    # shellcheck source=.ci/doors.sh
    . "$top/.ci/doors.sh"
    echo "ctl: building, about two minutes on two processors; $build/ctl.log tells how far it is" >&2
    if ! with_lock "$build" logged "$build/ctl.log" build_tool; then
        echo "ctl: cannot build, see above" >&2
        exit "$CANNOT_START"
    fi
fi
# A tree is not reached through a link.
: "${KELVANE_HOST_ROOT=$(readlink -m -- "$build/host")}"
export KELVANE_HOST_ROOT
exec "$tool" "$@"
