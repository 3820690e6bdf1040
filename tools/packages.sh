# SPDX-License-Identifier: Apache-2.0
# packages.sh -- sourced by run.sh, test.sh, .ci/run and tools: the Debian packages they need.

# For the shell on a simulated server alone, and for all programs.
PACKAGES_RUN="cmake g++ ninja-build libargtable2-dev libtomlplusplus-dev"
PACKAGES_BUILD="$PACKAGES_RUN libfreeipmi-dev libcurl4-openssl-dev libjansson-dev libmicrohttpd-dev"
# A simulated BMC, and the tools that the service for a real one is compared with.
PACKAGES_TEST_IPMI="openipmi ipmitool freeipmi-tools prometheus-ipmi-exporter"
# What is made and installed beside the programs.
PACKAGES_TEST_INSTALLED="scdoc pkg-config"
# What scripts that read JSON use, and what holds it against a schema.
PACKAGES_TEST_SCRIPTS="jq python3 python3-jsonschema"
# What makes a journal without a journald.
PACKAGES_TEST_JOURNAL="systemd-journal-remote"
# A simulated Redfish service.
PACKAGES_TEST_REDFISH="libmicrohttpd-dev openssl"
# Login servers that let users in to the shell; tests with sshd itself are skipped where it is not
# installed, since installing it starts it.
PACKAGES_TEST_LOGIN="openssh-client dropbear-bin libnss-wrapper"
PACKAGES_TEST="libgtest-dev $PACKAGES_TEST_SCRIPTS $PACKAGES_TEST_JOURNAL $PACKAGES_TEST_INSTALLED $PACKAGES_TEST_IPMI \
$PACKAGES_TEST_REDFISH $PACKAGES_TEST_LOGIN"
PACKAGES_ARMHF="g++-arm-linux-gnueabihf qemu-user"
PACKAGES_MUSL="musl-tools make"
PACKAGES_CI="clang clang-format clang-tidy libclang-rt-dev strace openssh-server"

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
    if ! { apt_get update && apt_get install -y --no-install-recommends $missing; }; then
        cat "$log" >&2
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
}

# apt_get ARGUMENT...: of need(). Another apt-get may be at work, most of all on a machine that has
# just been started: it waits for its locks, for five minutes at the most.
apt_get() {
    tries=0
    until $as_root env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 "$@" \
        >"$log" 2>&1 </dev/null; do
        tries=$((tries + 1))
        # The lock of the lists is none that apt-get waits for.
        grep -q "Could not get lock" "$log" && [ "$tries" -lt 60 ] || return 1
        [ "$tries" -gt 1 ] || echo "Another apt-get is at work; waiting for it ..." >&2
        sleep 5
    done
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

# progressing COMMAND...: the same for a build by Ninja, which tells how far it is on standard error.
progressing() {
    log=$(mktemp)
    shown=0
    { "$@" 2>&1 || echo "progressing: failed"; } | tee "$log" | while IFS= read -r line; do
        case $line in
        \[[0-9]*/[0-9]*\]*)
            step=${line#\[}
            step=${step%%\]*}
            percent=$((${step%/*} * 10 / ${step#*/} * 10))
            [ "$percent" -le "$shown" ] || printf ' %s%%' "$percent" >&2
            [ "$percent" -le "$shown" ] || shown=$percent
            ;;
        esac
    done
    echo >&2
    if grep -q '^progressing: failed$' "$log"; then
        cat "$log" >&2
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
}
