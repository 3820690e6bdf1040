# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=sh
# private_apt.sh -- sourced: an apt of one's own, that fetches and verifies packages and changes
# nothing of the system. Needs no rights.
#
# It takes from the archives that this system's apt knows as Debian's (component main), whatever
# their addresses, and only what is signed with Debian's own keys; lists of other vendors are left
# alone. How this system reaches archives (proxies, time limits) holds here too, its hooks do not.
# It needs the system's package lists: where there are none yet, run apt-get update first.

# private_apt_begin DIRECTORY TYPE ARCHITECTURE: makes an apt in DIRECTORY (new) for the packages of
# an ARCHITECTURE, nothing of which counts as installed. TYPE: deb, or deb-src for sources.
private_apt_begin() {
    private_apt=$1
    mkdir -p "$private_apt/lists/partial" "$private_apt/archives/partial" "$private_apt/parts"
    : >"$private_apt/status"
    keyring=/usr/share/keyrings/debian-archive-keyring.gpg
    apt-get indextargets --format '$(REPO_URI) $(RELEASE)' 'Created-By: Packages' 'Origin: Debian' \
        'Component: main' | sort -u |
        sed "s,^,$2 [arch=$3 signed-by=$keyring] ,; s/\$/ main/" >"$private_apt/sources.list"
    if [ ! -s "$private_apt/sources.list" ]; then
        echo "apt has no package lists of Debian: run apt-get update as root first." >&2
        return 1
    fi

    apt-config dump --format '%F "%v";%n' Acquire |
        grep -v -e '^Acquire::IndexTargets' -e '^Acquire ' >"$private_apt/apt.conf" || :
    cat >>"$private_apt/apt.conf" <<END
APT::Architecture "$3";
APT::Architectures:: "$3";
APT::Install-Recommends "false";
Acquire::Languages "none";
Dir::State "$private_apt";
Dir::State::status "$private_apt/status";
Dir::State::lists "$private_apt/lists";
Dir::Cache "$private_apt";
Dir::Cache::archives "$private_apt/archives";
Dir::Etc::main "/dev/null";
Dir::Etc::parts "$private_apt/parts";
Dir::Etc::sourcelist "$private_apt/sources.list";
Dir::Etc::sourceparts "$private_apt/parts";
END
    # A list that a mirror does not have whole at the moment is left out; what is then fetched is
    # signed all the same, only perhaps not the newest.
    if ! private_apt_get update >"$private_apt/log" 2>&1; then
        echo "Going on without some package lists:" >&2
        grep -e '^E:' -e '^W:' "$private_apt/log" >&2 || :
    fi
}

# private_apt_get ARGUMENT...: apt-get of the apt begun last.
private_apt_get() {
    APT_CONFIG=$private_apt/apt.conf apt-get -y "$@" </dev/null
}
