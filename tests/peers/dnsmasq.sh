#!/bin/sh
# A private dnsmasq for the DNS tests, on 127.0.0.1 only, never asking anyone else.
#   dnsmasq.sh start STATE_DIR PORT   starts it; every query is logged to STATE_DIR/queries.log
#   dnsmasq.sh stop STATE_DIR         stops it and waits until it has gone
# uri.test: spam-domain.com, refusing.com (127.255.255.254: a list refusing to answer), multi
# (two addresses), hijacked.com (192.0.2.1: a resolver answering for missing names); ip.test:
# 2.0.0.127. Other names in both zones do not exist; names outside them are refused.
set -eu
state=$2
if [ "$1" = start ]; then
    mkdir -p "$state"
    # It must not hold the caller's output open: a test's pipe would never end.
    /usr/sbin/dnsmasq --port="$3" --listen-address=127.0.0.1 --bind-interfaces --no-resolv \
        --no-hosts --log-queries --log-facility="$state/queries.log" \
        --pid-file="$state/dnsmasq.pid" --user="$(id -un)" --group="$(id -gn)" \
        --local=/uri.test/ --local=/ip.test/ --host-record=spam-domain.com.uri.test,127.0.0.2 \
        --host-record=refusing.com.uri.test,127.255.255.254 \
        --host-record=hijacked.com.uri.test,192.0.2.1 \
        --host-record=multi.uri.test,127.0.0.2 --host-record=multi.uri.test,127.0.0.4 \
        --host-record=2.0.0.127.ip.test,127.0.0.10 </dev/null >/dev/null 2>>"$state/dnsmasq.err"
    # dnsmasq returns once it listens; the pid file says which process to stop.
    for _ in $(seq 1 50); do [ -s "$state/dnsmasq.pid" ] && exit 0; sleep 0.1; done
    exit 1
fi
pid=$(cat "$state/dnsmasq.pid" 2>/dev/null || true)
[ -n "$pid" ] || exit 0
kill "$pid" 2>/dev/null || true
# Gone once it is a zombie: reaping it is up to init, which may take its time.
while grep -qs '^State:[[:space:]]*[^Z[:space:]]' "/proc/$pid/status"; do sleep 0.02; done
