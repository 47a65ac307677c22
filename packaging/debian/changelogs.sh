#!/bin/sh
# changelogs.sh CHANGES VERSION MAINTAINER FOLDER: the change logs of a package, from the one of the tree, whose newest
# entry has to be of the version that is packed: "## 1.43 - 2026-11-24".
set -eu
changes=$1
version=$2
maintainer=$3
folder=$4
newest=$(grep -m 1 '^## ' "$changes")
date=${newest##* }
if [ "$newest" != "## ${version%-*} - $date" ]; then
    echo "the newest entry of $changes is \"$newest\", and not of version ${version%-*}" >&2
    exit 1
fi
date=$(date --utc --rfc-email --date "$date")
mkdir -p "$folder"
gzip --best --no-name <"$changes" >"$folder/changelog.gz"
gzip --best --no-name >"$folder/changelog.Debian.gz" <<END
kelvane ($version) stable; urgency=medium

  * What is new stands in changelog.gz.

 -- $maintainer  $date
END
