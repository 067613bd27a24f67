# shellcheck shell=bash
# start_hub FOLDER: starts an etcd on loopback that keeps its data there, and sets `endpoint` to its address and
# `hub_pid` to its process, which the caller ends.
start_hub() {
  local folder=$1 port peer
  # A port may be taken between the choice and the start; then another one is tried.
  for _ in 1 2 3 4 5; do
    port=$((20000 + RANDOM % 10000))
    endpoint=127.0.0.1:$port peer=http://127.0.0.1:$((port + 10000))
    : >"$folder/hub.log"
    etcd --name hub --data-dir "$folder/hub.$port" --listen-client-urls "http://$endpoint" \
      --advertise-client-urls "http://$endpoint" --listen-peer-urls "$peer" --initial-advertise-peer-urls "$peer" \
      --initial-cluster "hub=$peer" >"$folder/hub.log" 2>&1 &
    # shellcheck disable=SC2034  # the caller's
    hub_pid=$!
    until grep -q 'ready to serve client requests' "$folder/hub.log"; do
      kill -0 "$hub_pid" 2>/dev/null || continue 2
      sleep 0.1
    done
    return
  done
  echo "etcd does not start: $(tail -n 1 "$folder/hub.log")" >&2
  return 1
}
