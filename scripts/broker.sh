#!/bin/sh
# A private mosquitto broker for trying the MQTT provider by hand: MQTT 5 on a free loopback port,
# persistence on, everything under build/broker (or $KA_BROKER_DIR).
#   scripts/broker.sh start   starts it (once) and prints its URL
#   scripts/broker.sh url     prints the URL of the running broker
#   scripts/broker.sh stop    stops it
# Then e.g.: KA_VESTA_URL=$(scripts/broker.sh url) build/x86_64-asan/...
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
dir=${KA_BROKER_DIR:-$root/build/broker}
mosquitto=$(command -v mosquitto || echo /usr/sbin/mosquitto)

running() {
    [ -f "$dir/pid" ] && kill -0 "$(cat "$dir/pid")" 2>/dev/null
}

case "${1:-}" in
start)
    if running; then
        cat "$dir/url"
        exit 0
    fi
    [ -x "$mosquitto" ] || { echo "broker.sh: mosquitto is not installed (scripts/deps.sh)" >&2; exit 1; }
    mkdir -p "$dir"
    # A free port: the kernel picks one for a throw-away socket.
    port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
    cat >"$dir/mosquitto.conf" <<CONF
listener $port 127.0.0.1
allow_anonymous true
persistence true
persistence_location $dir/
autosave_interval 1
CONF
    # Started as root, mosquitto runs as its own user, which must be able to save its database.
    if [ "$(id -u)" -eq 0 ] && id mosquitto >/dev/null 2>&1; then
        chown -R mosquitto: "$dir"
    fi
    "$mosquitto" -c "$dir/mosquitto.conf" >"$dir/log" 2>&1 &
    echo $! >"$dir/pid"
    echo "mqtt://127.0.0.1:$port" >"$dir/url"
    sleep 0.3
    running || { echo "broker.sh: mosquitto did not start, see $dir/log" >&2; exit 1; }
    cat "$dir/url"
    ;;
url)
    running || { echo "broker.sh: no broker running (scripts/broker.sh start)" >&2; exit 1; }
    cat "$dir/url"
    ;;
stop)
    if running; then
        kill "$(cat "$dir/pid")"
    fi
    rm -f "$dir/pid" "$dir/url"
    ;;
*)
    echo "usage: $0 start|stop|url" >&2
    exit 2
    ;;
esac
