# SPDX-License-Identifier: Apache-2.0
# packages.sh -- sourced by run.sh, test.sh, .ci/run and tools: the Debian packages they need.

PACKAGES_BUILD="cmake g++ ninja-build libargtable2-dev liblmdb-dev libtomlplusplus-dev \
libfreeipmi-dev libcurl4-openssl-dev libjansson-dev"
# A simulated BMC, and the tools that the service for a real one is compared with.
PACKAGES_TEST_IPMI="openipmi ipmitool freeipmi-tools"
# What is made and installed beside the programs.
PACKAGES_TEST_INSTALLED="scdoc pkg-config"
PACKAGES_TEST="libgtest-dev python3 $PACKAGES_TEST_INSTALLED $PACKAGES_TEST_IPMI"
PACKAGES_ARMHF="g++-arm-linux-gnueabihf qemu-user"
PACKAGES_MUSL="musl-tools make"
PACKAGES_CI="clang clang-format clang-tidy libclang-rt-dev strace"

# need PACKAGE...: installs those that are missing, as root or through sudo. Says what it does on
# standard error, so that a command's own output stays clean.
need() {
    missing=""
    for package in "$@"; do
        state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) || state=""
        [ "$state" = installed ] || missing="$missing $package"
    done
    [ -n "$missing" ] || return 0

    as_root=""
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "These Debian packages are missing; install them as root:$missing" >&2
            return 1
        fi
        as_root=sudo
    fi
    echo "Installing:$missing" >&2
    log=$(mktemp)
    # shellcheck disable=SC2086
    if ! { $as_root apt-get update &&
           $as_root env DEBIAN_FRONTEND=noninteractive \
               apt-get install -y --no-install-recommends $missing; } >"$log" 2>&1 </dev/null; then
        cat "$log" >&2
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
}

# quietly COMMAND...: runs it and shows what it printed only when it fails.
quietly() {
    log=$(mktemp)
    if ! "$@" >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
}
