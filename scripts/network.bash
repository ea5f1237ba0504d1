# A small network inside the sandbox, to be sourced: a visitor's machine and a server on the internet,
# with this sandbox as the router between them.
#
#   visitor 10.0.0.21 (00:11:22:33:44:01) -- lan0 10.0.0.1 [router] 192.0.2.1 wan0 -- 192.0.2.80 internet

visitor_mac=00:11:22:33:44:01

in_visitor() { ip netns exec visitor "$@"; }
in_internet() { ip netns exec internet "$@"; }

plug_visitor_in() {
  ip link add lan0 type veth peer name eth0 address "$visitor_mac" netns visitor
  ip address add 10.0.0.1/24 dev lan0
  ip link set lan0 up
  in_visitor ip address add 10.0.0.21/24 dev eth0
  in_visitor ip link set eth0 up
  in_visitor ip route add default via 10.0.0.1
}

# Makes it, with a server of the web that visitors want to reach.
make_network() {
  mkdir -p /run/netns /run/internet/cgi-bin
  ip netns add visitor
  ip netns add internet
  plug_visitor_in
  ip link add wan0 type veth peer name eth0 netns internet
  ip address add 192.0.2.1/24 dev wan0
  ip link set wan0 up
  echo 1 >/proc/sys/net/ipv4/ip_forward
  in_internet ip address add 192.0.2.80/24 dev eth0
  in_internet ip link set eth0 up
  in_internet ip route add default via 192.0.2.1
  echo "the internet" >/run/internet/index.html
  printf '#!/bin/sh\nprintf "\\r\\n"\nwhile head -c 99999 /dev/zero; do sleep 0.02; done\n' >/run/internet/cgi-bin/large
  chmod +x /run/internet/cgi-bin/large
  in_internet busybox httpd -p 80 -h /run/internet
}

portal=http://10.0.0.1:8080/

# What the visitor sees of http://$1/, or where it is sent.
visitor_sees() {
  local place
  place=$(in_visitor curl --silent --show-error --max-time 5 --output /run/seen \
    --write-out '%{redirect_url}' "http://$1/" 2>&1)
  if [[ -n $place ]]; then echo "(sent to $place)"; else cat /run/seen; fi
}

# What the visitor's browser, one without scripts, holds: the page $page.
page=/run/browser
browse() { in_visitor curl --silent --show-error --location --max-time 10 --output "$page" "$@"; }

# Sends the form of the page, with the fields $@.
send_form() {
  local action token fields=()
  action=$(sed -n 's/.*<form method="post" action="\([^"]*\)".*/\1/p' "$page")
  token=$(sed -n 's/.*name="token" value="\([^"]*\)".*/\1/p' "$page")
  for field; do fields+=(--data-urlencode "$field"); done
  browse --data-urlencode "token=$token" "${fields[@]}" "${portal%/}$action"
}

# The page as text, with what can be filled in and pressed.
page_text() {
  sed -e '1,/<\/style>/d' -e 's/.*<input id="\([^"]*\)".*/[_____ \1 _____]/' \
    -e 's/.*<button[^>]*>\([^<]*\).*/[ \1 ]/' -e 's/<[^>]*>/ /g' -e 's/^ *//' -e '/^$/d' "$page"
}

# Whether the visitor's running transfer has got further within a third of a second.
transfer_moves() {
  local before
  before=$(stat -c %s /run/transfer)
  sleep 0.3
  [[ $(stat -c %s /run/transfer) -gt $before ]]
}

begin_transfer() {
  : >/run/transfer
  ip netns exec visitor curl --silent --no-buffer --output /run/transfer http://192.0.2.80/cgi-bin/large &
  transfer=$!
  await test -s /run/transfer
}

end_transfer() {
  kill "$transfer" 2>/dev/null || true
  wait "$transfer" 2>/dev/null || true
}
