# What scripts wait for inside the sandbox; to be sourced.

gate_port=1195463749

# Waits for a command to succeed, 10 seconds at most. Its output is not shown.
await() {
  local tries=500
  until "$@" >/dev/null 2>&1; do
    [[ $((tries--)) -gt 0 ]] || return 1
    sleep 0.02
  done
}

gate_is_bound() { grep -q " 2 *$gate_port " /proc/net/netlink; }
