# Lets the Net-SNMP tools and smilint find NORVO-VYN-MIB and what it imports. Sourced, not run; also
# by hand, and from then on `snmpwalk ... vynMIB` knows names:
#   . scripts/mibs.sh
#
# Debian has the modules of the IETF as text in one free package, erlang-snmp. VYN_BASE_MIBS names
# another folder that has them.
if [ -z "${VYN_BASE_MIBS:-}" ]; then
    for VYN_BASE_MIBS in /usr/lib/erlang/lib/snmp-*/mibs; do :; done # the newest
fi
export MIBDIRS=$VYN_BASE_MIBS:$(cd "$(dirname "${BASH_SOURCE[0]}")/../mibs" && pwd)
export MIBS=SNMPv2-MIB:NORVO-VYN-MIB # the former for the names in notifications
export SMIPATH=$MIBDIRS
