# shellcheck shell=bash
# The demo's OCSP setting, sourced by scripts/demo: a CA, leaves whose
# Authority Information Access names a responder on 127.0.0.1, the CA's
# index of what it revoked, and `openssl ocsp` answering from it.

demo_responder_pid=""

# A port on 127.0.0.1 that nothing listens on.
demo_free_port() {
  python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

# demo_ocsp_pki DIR PORT LEAF...: ca.pem and ca.key, and for each LEAF a
# certificate LEAF.pem (CN=LEAF.demo.example, serial 1001, 1002, ...) whose
# responder is http://127.0.0.1:PORT, all in DIR; an empty index.txt.
demo_ocsp_pki() {
  local dir=$1 port=$2 serial=1001 leaf
  shift 2
  mkdir -p "$dir"
  openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout "$dir/ca.key" -out "$dir/ca.pem" \
    -subj "/C=DE/O=Demo Trust/CN=Demo OCSP CA" -days 3650 2>/dev/null
  printf 'basicConstraints = CA:FALSE\nauthorityInfoAccess = OCSP;URI:http://127.0.0.1:%s\n' "$port" > "$dir/leaf.ext"
  : > "$dir/index.txt"
  for leaf in "$@"; do
    openssl req -new -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout "$dir/$leaf.key" \
      -subj "/C=DE/O=Demo Trust/CN=$leaf.demo.example" 2>/dev/null |
      openssl x509 -req -CA "$dir/ca.pem" -CAkey "$dir/ca.key" -set_serial "$serial" -days 365 \
        -extfile "$dir/leaf.ext" -out "$dir/$leaf.pem" 2>/dev/null
    demo_index_line "$dir/$leaf.pem" V >> "$dir/index.txt"
    serial=$((serial + 1))
  done
}

# demo_index_line CERT V|R [REASON]: the certificate's line in an
# `openssl ca` index, valid or revoked now for REASON.
demo_index_line() {
  local cert=$1 state=$2 reason=${3:-} serial expiry revoked=""
  serial=$(openssl x509 -in "$cert" -noout -serial | cut -d= -f2)
  expiry=$(date -u -d "$(openssl x509 -in "$cert" -noout -enddate | cut -d= -f2)" +%y%m%d%H%M%SZ)
  [ "$state" = R ] && revoked="$(date -u +%y%m%d%H%M%SZ)${reason:+,$reason}"
  printf '%s\t%s\t%s\t%s\tunknown\t%s\n' "$state" "$expiry" "$revoked" "$serial" \
    "$(openssl x509 -in "$cert" -noout -subject -nameopt compat | sed 's/^subject=//')"
}

# demo_revoke DIR LEAF REASON: marks LEAF revoked in the index.
demo_revoke() {
  local dir=$1 leaf=$2 reason=$3 serial
  serial=$(openssl x509 -in "$dir/$leaf.pem" -noout -serial | cut -d= -f2)
  awk -F'\t' -v serial="$serial" '$4 != serial' "$dir/index.txt" > "$dir/index.new"
  demo_index_line "$dir/$leaf.pem" R "$reason" >> "$dir/index.new"
  mv "$dir/index.new" "$dir/index.txt"
}

# demo_start_responder DIR PORT: `openssl ocsp` in the background, signing
# with the CA's key, until demo_stop_responder; returns once it listens.
demo_start_responder() {
  local dir=$1 port=$2
  openssl ocsp -index "$dir/index.txt" -port "$port" -rsigner "$dir/ca.pem" -rkey "$dir/ca.key" \
    -CA "$dir/ca.pem" -ndays 1 >"$dir/responder.log" 2>&1 &
  demo_responder_pid=$!
  # It says ACCEPT once it listens. Probing with a bare connection would
  # not do: a connection closed without a request sets it spinning.
  for _ in $(seq 100); do
    grep -q '^ACCEPT' "$dir/responder.log" 2>/dev/null && return 0
    sleep 0.1
  done
  echo "demo: the OCSP responder did not start (see $dir/responder.log)" >&2
  return 1
}

demo_stop_responder() {
  if [ -n "$demo_responder_pid" ]; then
    kill "$demo_responder_pid" 2>/dev/null || true
    wait "$demo_responder_pid" 2>/dev/null || true
    demo_responder_pid=""
  fi
}

# demo_fetch_response DIR PORT LEAF: asks the responder once and keeps its
# DER answer in LEAF.ocsp, to staple later.
demo_fetch_response() {
  local dir=$1 port=$2 leaf=$3
  openssl ocsp -issuer "$dir/ca.pem" -cert "$dir/$leaf.pem" -url "http://127.0.0.1:$port" \
    -respout "$dir/$leaf.ocsp" -noverify >/dev/null 2>&1
}
