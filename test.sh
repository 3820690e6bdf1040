#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Builds everything and runs all tests: installs what is missing first. Arguments go to ctest, for
# example ./test.sh -R LineEditor.
set -eu
top=$(cd "$(dirname "$0")" && pwd)
build=$top/build-test
. "$top/tools/packages.sh"

# shellcheck disable=SC2086
need $PACKAGES_BUILD $PACKAGES_TEST
quietly cmake -S "$top" -B "$build" -G Ninja
if [ -x "$build/bin/smclp" ]; then
    quietly cmake --build "$build"
else
    echo "Building everything and the tests (once, some minutes) ..." >&2
    progressing cmake --build "$build"
fi
cd "$build"
# Many tests wait for time to pass.
exec ctest --output-on-failure -j "$(($(nproc) * 2))" "$@"
