#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Opens the shell on a simulated server: installs what is missing, builds, runs.
#
#   ./run.sh                    the interactive shell
#   ./run.sh show /system1      one command; the arguments are joined into one command line
#
# ZOR_HOST_FILE=FILE picks another simulated server than examples/hosts/rack-server.toml.
set -eu
top=$(cd "$(dirname "$0")" && pwd)
build=$top/build
. "$top/tools/packages.sh"

# shellcheck disable=SC2086
need $PACKAGES_BUILD
mkdir -p "$build"
(
    flock 9  # two at once build one after the other
    [ -f "$build/build.ninja" ] || {
        echo "Building (once) ..." >&2
        quietly cmake -S "$top" -B "$build" -G Ninja -DZOR_BUILD_TESTS=OFF -DZOR_BUILD_BENCH=OFF
    }
    quietly cmake --build "$build"
) 9>"$build/lock" </dev/null

host=${ZOR_HOST_FILE:-$top/examples/hosts/rack-server.toml}
if [ $# -gt 0 ]; then
    set -- -c "$*"
fi
exec "$build/bin/objmgrd-sim" --host "$host" -- "$build/bin/smclp-login" "$@"
