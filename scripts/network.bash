# A small network inside the sandbox, to be sourced: a visitor's machine and a server on the internet,
# with this sandbox as the router between them.
#
#   visitor 10.0.0.21 (00:11:22:33:44:01) -- lan0 10.0.0.1 [router] 192.0.2.1 wan0 -- 192.0.2.80 internet

visitor_mac=00:11:22:33:44:01

in_visitor() { ip netns exec visitor "$@"; }
in_internet() { ip netns exec internet "$@"; }

# Makes it, with servers of the web: what visitors want, and a page of the router where they end.
make_network() {
  mkdir -p /run/netns /run/internet /run/page
  ip netns add visitor
  ip netns add internet
  ip link add lan0 type veth peer name eth0 address "$visitor_mac" netns visitor
  ip link add wan0 type veth peer name eth0 netns internet
  ip address add 10.0.0.1/24 dev lan0
  ip address add 192.0.2.1/24 dev wan0
  ip link set lan0 up
  ip link set wan0 up
  echo 1 >/proc/sys/net/ipv4/ip_forward
  in_visitor ip address add 10.0.0.21/24 dev eth0
  in_internet ip address add 192.0.2.80/24 dev eth0
  in_visitor ip link set eth0 up
  in_internet ip link set eth0 up
  in_visitor ip route add default via 10.0.0.1
  in_internet ip route add default via 192.0.2.1
  echo "the internet" >/run/internet/index.html
  truncate -s 1G /run/internet/large
  echo "the router's login page" >/run/page/index.html
  in_internet busybox httpd -p 80 -h /run/internet
  busybox httpd -p 10.0.0.1:8080 -h /run/page
}

# What the visitor sees of http://$1/.
visitor_sees() { in_visitor curl --silent --show-error --max-time 5 "http://$1/" 2>&1; }

# Whether the visitor's running transfer has got further within a third of a second.
transfer_moves() {
  local before
  before=$(stat -c %s /run/transfer)
  sleep 0.3
  [[ $(stat -c %s /run/transfer) -gt $before ]]
}

begin_transfer() {
  : >/run/transfer
  in_visitor curl --silent --limit-rate 10M --output /run/transfer http://192.0.2.80/large &
  transfer=$!
  await test -s /run/transfer
}

end_transfer() {
  kill "$transfer" 2>/dev/null || true
  wait "$transfer" 2>/dev/null || true
}
