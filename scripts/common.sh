# What the scripts share: packages and builds. Sourced, not run.
set -euo pipefail

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Debian has snmpd where the path of an ordinary user does not lead.
export PATH=$PATH:/usr/sbin:/sbin

as_root() {
    if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

# Ends the script if a package of scripts/packages is missing.
require_packages() {
    local missing
    missing=$("$top/scripts/setup" --missing)
    [ -z "$missing" ] || {
        echo "Missing packages: $missing. scripts/setup installs them." >&2
        exit 1
    }
}

# configure PRESET [CMAKE-OPTION...]: makes build/PRESET ready to build in.
configure() {
    cmake -S "$top" --preset "$1" "${@:2}" >/dev/null
}

# build PRESET [CMAKE-OPTION...]: configures and builds everything in build/PRESET.
build() {
    configure "$@"
    cmake --build "$top/build/$1"
}

# build_programs: the libraries and programs without tests, in build/demo.
build_programs() {
    configure dev -B "$top/build/demo" -DBUILD_TESTING=OFF
    cmake --build "$top/build/demo"
}
