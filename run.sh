#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
set -eu
usage() {
    cat <<'END'
usage: ./run.sh [WORD]...
Opens the shell on a simulated server, a new one each time: what was switched off before is on
again. Installs what is missing, builds what it runs, into build/, and tells how far that is.

  ./run.sh                    the prompt; "exit" or ^C ends it
  ./run.sh show /system1      one command; the words are joined into one command line
  ./run.sh --help             this text

Quote what your own shell would take for itself: ./run.sh 'show -display properties=(name) /system1'

ZOR_HOST_FILE=FILE names another simulated server than examples/hosts/rack-server.toml.
The exit status is the command's result code. 0 is no promise of success: look at the text.
END
}
if [ "${1-}" = --help ] || [ "${1-}" = -h ]; then
    usage
    exit
fi
top=$(cd "$(dirname "$0")" && pwd)
build=$top/build
. "$top/tools/packages.sh"

# shellcheck disable=SC2086
need $PACKAGES_RUN
mkdir -p "$build"
(
    flock 9  # two at once build one after the other
    programs="smclp smclp-login objmgrd-sim"
    run=quietly
    if [ ! -x "$build/bin/objmgrd-sim" ]; then
        echo "Building (once, a minute or two) ..." >&2
        run=progressing
    fi
    [ -f "$build/build.ninja" ] ||
        quietly cmake -S "$top" -B "$build" -G Ninja -DZOR_BUILD_TESTS=OFF -DZOR_BUILD_BENCH=OFF \
            -DZOR_IPMI=OFF -DZOR_REDFISH=OFF -DZOR_CTL=OFF -DZOR_MAN=OFF
    # shellcheck disable=SC2086
    $run cmake --build "$build" --target $programs
) 9>"$build/lock" </dev/null

host=${ZOR_HOST_FILE:-$top/examples/hosts/rack-server.toml}
if [ $# -gt 0 ]; then
    set -- -c "$*"
fi
exec "$build/bin/objmgrd-sim" --host "$host" -- "$build/bin/smclp-login" "$@"
