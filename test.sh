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
# Names and lines alone for debuggers: a third of the time that the programs take to compile.
quietly cmake -S "$top" -B "$build" -G Ninja -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O2 -g1 -DNDEBUG"
if [ -x "$build/bin/smclp" ]; then
    quietly cmake --build "$build"
else
    echo "Building everything and the tests (once, some minutes) ..." >&2
    progressing cmake --build "$build"
fi
cd "$build"
# Most of a test's time is waiting: six at once use two thirds of a processor.
exec ctest --output-on-failure -j "$(($(nproc) * 6))" "$@"
