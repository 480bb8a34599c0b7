#!/bin/sh
# A private Dovecot for the tests, on 127.0.0.1 only, with one user whose Maildir is given.
#   dovecot.sh start STATE_DIR MAILDIR PORT   starts it (as root); the user is "probe"
#   dovecot.sh status STATE_DIR MAILBOX...    prints "MAILBOX messages=N" per mailbox
#   dovecot.sh stop STATE_DIR                 stops it and waits until it has gone
set -eu
command=$1
state=$2
conf=$state/dovecot.conf
doveadm() { /usr/bin/doveadm -c "$conf" "$@"; }

case "$command" in
start)
    maildir=$3 port=$4
    mkdir -p "$state/run" "$state/state" "$state/home"
    chmod 755 "$state" "$state/home"
    [ -f "$state/cert.pem" ] || openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=localhost \
        -days 2 -keyout "$state/key.pem" -out "$state/cert.pem" 2>/dev/null
    echo "probe:{PLAIN}probe-secret:5000:5000::$state/home::userdb_mail=maildir:$maildir" \
        >"$state/users"
    chmod 644 "$state/users"
    chown -R 5000:5000 "$maildir"
    cat >"$conf" <<CONF
base_dir = $state/run
state_dir = $state/state
instance_name = corvel-test-$port
listen = 127.0.0.1
protocols = imap
log_path = $state/dovecot.log
ssl = yes
ssl_cert = <$state/cert.pem
ssl_key = <$state/key.pem
disable_plaintext_auth = no
auth_mechanisms = plain login
first_valid_uid = 1000
namespace inbox {
  inbox = yes
  separator = .
}
passdb {
  driver = passwd-file
  args = scheme=PLAIN username_format=%u $state/users
}
userdb {
  driver = passwd-file
  args = username_format=%u $state/users
}
service imap-login {
  inet_listener imap {
    address = 127.0.0.1
    port = $port
  }
  inet_listener imaps {
    port = 0
  }
}
CONF
    # Its daemons must not hold the caller's output open: a test's pipe would never end.
    /usr/sbin/dovecot -c "$conf" </dev/null >/dev/null 2>>"$state/dovecot.log"
    # Ready when doveadm can reach its auth service.
    for _ in $(seq 1 50); do
        doveadm user probe >/dev/null 2>&1 && exit 0
        sleep 0.1
    done
    echo "dovecot did not start; see $state/dovecot.log" >&2
    exit 1
    ;;
status)
    shift 2
    for mailbox in "$@"; do
        doveadm mailbox status -u probe messages "$mailbox"
    done
    ;;
stop)
    pid=$(cat "$state/run/master.pid" 2>/dev/null || true)
    [ -n "$pid" ] || exit 0
    kill "$pid" 2>/dev/null || true
    while kill -0 "$pid" 2>/dev/null; do sleep 0.1; done
    ;;
esac
