# A fabric to talk to: vynd, snmptrapd and snmpd as an ordinary user, in a private folder ($run), on
# free ports of the loopback interface; all of it, and what else the script has in the background, goes
# when the script ends. Sourced behind common.sh, not run.
#
# start_fabric FOLDER SCENARIO starts them from build/FOLDER. Then $reader, $writer and $secure are
# the arguments that a manager begins with, $port and $trap_port where agent and receiver are, and
# $service, $receiver and $agent the processes. What a process prints is in $run, in a file of its name.
#
# Started by root, they run as nobody, who can write to their logs and to $run/state. All else in $run
# is root's, because root runs and sources it.
vyn=1.3.6.1.4.1.57193.12.7
trap_transport=udp # tcp: no notification is lost, however many there are
run= service= receiver= agent=
ordinary=()

stop_fabric() {
    kill $(jobs -p) 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$run"
}

start() { # COMMAND...: in the background; its process is $!
    SNMP_PERSISTENT_DIR=$run/state "${ordinary[@]}" "$@" >>"$run/$(basename "$1").out" 2>&1 &
}

await() { # COMMAND...: until it succeeds
    local tries
    for tries in $(seq 600); do
        if "$@" >/dev/null 2>&1; then return; fi
        sleep 0.1
    done
    echo "gave up waiting for: $*" >&2
    tail -n 20 "$run"/*.out "$run"/*.log >&2 || true
    exit 1
}

free_port() { # a port of 127.0.0.1 that nobody has
    local port
    while :; do
        port=$((20000 + RANDOM))
        grep -q "^ *[0-9]*: [0-9A-F]*:$(printf %04X $port) " /proc/net/{udp,tcp}{,6} || break
    done
    echo $port
}

listens() { # PORT
    grep -q ":$(printf %04X "$1") " /proc/net/{udp,tcp}
}

start_service() {
    start "$run/vynd" --socket "$VYN_SOCKET" --scenario "$run/scenario.json"
    service=$!
    await "${ordinary[@]}" "$run/vynctl" ping
}

start_fabric() { # FOLDER SCENARIO
    . "$top/scripts/mibs.sh"
    # Copies, because the agents' user may not be able to read the tree.
    run=$(mktemp -d "/tmp/vyn-$(basename "$0").XXXXXX")
    trap stop_fabric EXIT
    mkdir "$run/state"
    touch "$run/snmpd.log" "$run/snmptrapd.log"
    cp "$top/build/$1"/lib/*.so "$top/build/$1"/bin/vyn* "$top"/mibs/*.txt "$run"
    cp "$2" "$run/scenario.json"
    export VYN_SOCKET=$run/state/vynd.sock SNMPCONFPATH=$run SNMP_PERSISTENT_DIR=$run/managers
    port=$(free_port)
    trap_port=$(free_port)
    cat >"$run/agent.conf" <<CONF
agentaddress udp:127.0.0.1:$port
dlmod vyn_mib $run/libvynmib.so
view fabric included .1.3.6.1.2.1.1
view fabric included .1.3.6.1.2.1.11
view fabric included .$vyn
view fabric included .1.3.6.1.6.3.1
rocommunity watcher default -V fabric
rwcommunity oper default -V fabric
createUser alice SHA alice-auth AES alice-priv
rwuser alice priv -V fabric
dontLogTCPWrappersConnects yes
trap2sink $trap_transport:127.0.0.1:$trap_port traps
CONF
    echo "disableAuthorization yes" >"$run/receiver.conf"
    if [ "$(id -u)" = 0 ]; then
        ordinary=(setpriv --reuid=nobody --regid=nogroup --clear-groups)
        chgrp -R nogroup "$run"
        chmod -R u+rwX,g=rX,o= "$run"
        chown nobody "$run/state" "$run"/snmp*.log
    fi
    reader=(-v2c -c watcher 127.0.0.1:$port)
    writer=(-v2c -c oper 127.0.0.1:$port)
    secure=(-v3 -u alice -l authPriv -a SHA -A alice-auth -x AES -X alice-priv 127.0.0.1:$port)

    start_service
    MIBDIRS=$VYN_BASE_MIBS:$run start snmptrapd -f -C -c "$run/receiver.conf" -n \
        -Lf "$run/snmptrapd.log" -F '%v\n' "$trap_transport:127.0.0.1:$trap_port"
    receiver=$!
    await listens "$trap_port"
    MIBS= start snmpd -f -C -c "$run/agent.conf" -Lf "$run/snmpd.log"
    agent=$!
    await snmpget -t 0.2 -r 0 "${reader[@]}" .1.3.6.1.2.1.1.3.0
}
