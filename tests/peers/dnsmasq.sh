#!/bin/sh
# A private dnsmasq for the DNS tests: 127.0.0.1 only, answering from its own test zones and
# never asking anyone else (no resolv.conf, no hosts file).
#   dnsmasq.sh start STATE_DIR PORT   starts it; every query is logged to STATE_DIR/queries.log
#   dnsmasq.sh stop STATE_DIR         stops it and waits until it has gone
# Zone uri.test: spam-domain.com -> 127.0.0.2, other-spam.co.uk -> 127.0.0.4, refusing.com ->
# 127.255.255.254 (a list refusing to answer), multi -> 127.0.0.2 and 127.0.0.4.
# Zone ip.test: 127.0.0.2 (as 2.0.0.127) -> 127.0.0.10. Other names in both zones do not exist;
# names outside them are refused.
set -eu
command=$1
state=$2

case "$command" in
start)
    port=$3
    mkdir -p "$state"
    cat >"$state/dnsmasq.conf" <<CONF
port=$port
listen-address=127.0.0.1
bind-interfaces
no-resolv
no-hosts
log-queries
log-facility=$state/queries.log
pid-file=$state/dnsmasq.pid
user=$(id -un)
group=$(id -gn)
local=/uri.test/
local=/ip.test/
host-record=spam-domain.com.uri.test,127.0.0.2
host-record=other-spam.co.uk.uri.test,127.0.0.4
host-record=refusing.com.uri.test,127.255.255.254
host-record=multi.uri.test,127.0.0.2
host-record=multi.uri.test,127.0.0.4
host-record=2.0.0.127.ip.test,127.0.0.10
CONF
    # It must not hold the caller's output open: a test's pipe would never end.
    /usr/sbin/dnsmasq --conf-file="$state/dnsmasq.conf" </dev/null >/dev/null 2>>"$state/dnsmasq.err"
    # dnsmasq returns once it listens; the pid file says which process to stop.
    for _ in $(seq 1 50); do
        [ -s "$state/dnsmasq.pid" ] && exit 0
        sleep 0.1
    done
    echo "dnsmasq did not start; see $state/dnsmasq.err" >&2
    exit 1
    ;;
stop)
    pid=$(cat "$state/dnsmasq.pid" 2>/dev/null || true)
    [ -n "$pid" ] || exit 0
    kill "$pid" 2>/dev/null || true
    # Gone once it is a zombie: reaping it is up to init, which may take its time.
    while grep -qs '^State:[[:space:]]*[^Z[:space:]]' "/proc/$pid/status"; do sleep 0.02; done
    ;;
esac
