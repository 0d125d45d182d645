# What the scripts share: installing packages and building. Sourced, not run.
set -euo pipefail

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Where the agent is, which an ordinary user's path does not have.
export PATH=$PATH:/usr/sbin:/sbin

as_root() {
    if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

# Installs what is missing of scripts/packages. The agent that Debian would start with its package
# is not wanted: every agent here is a private one.
install_packages() {
    local package missing=()
    while read -r package; do
        case $package in '' | '#'*) continue ;; esac
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
            missing+=("$package")
    done <"$top/scripts/packages"
    [ ${#missing[@]} -gt 0 ] || return 0
    echo "Installing ${missing[*]}"
    local policy=/usr/sbin/policy-rc.d own_policy=
    if [ ! -e $policy ]; then
        own_policy=yes
        printf '#!/bin/sh\nexit 101\n' | as_root tee $policy >/dev/null
        as_root chmod 755 $policy
    fi
    local status=0
    as_root apt-get update -qq &&
        as_root env DEBIAN_FRONTEND=noninteractive apt-get install -qq -y --no-install-recommends \
            "${missing[@]}" >/dev/null || status=$?
    [ -z "$own_policy" ] || as_root rm -f $policy
    return $status
}

# configure FOLDER [CMAKE-OPTION...]: makes build/FOLDER ready to build in.
configure() {
    cmake -S "$top" -B "$top/build/$1" -G Ninja "${@:2}" >/dev/null
}

# build FOLDER [CMAKE-OPTION...]: configures and builds the tree in build/FOLDER.
build() {
    configure "$@"
    cmake --build "$top/build/$1"
}
