#!/usr/bin/env bash
# make demo: the real path. Starts rqbehavior-service on SQLite in a
# temporary folder with a self-signed certificate for the profiling service's
# host, lets the demo host collect and upload (trusting that certificate),
# prints the stored profile as the query API returns it, and the console's
# address. Usage: demo.sh BUILD_DIR
set -euo pipefail

build=${1:?usage: demo.sh BUILD_DIR}
service=$build/service/rqbehavior-service
demo=$build/examples/demo/rqbehavior-demo
base_url=$(sed -n 's/^RQBEHAVIOR_PROFILER_BASE_URL:STRING=//p' "$build/CMakeCache.txt")
host=${base_url#https://}
host=${host%%/*}
host=${host%%:*}

folder=$(mktemp -d -t rqbehavior-demo.XXXXXX)
service_pid=
cleanup() {
  [[ -n $service_pid ]] && kill "$service_pid" 2>/dev/null && wait "$service_pid" 2>/dev/null
  rm -rf "$folder"
}
trap cleanup EXIT

# A certificate for the host the library uploads to, and for 127.0.0.1 so
# that a browser can open the console.
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 1 \
  -subj "/CN=$host" -addext "subjectAltName=DNS:$host,IP:127.0.0.1" \
  -keyout "$folder/key.pem" -out "$folder/cert.pem" 2>/dev/null
head -c 24 /dev/urandom | base64 | tr '+/' '-_' > "$folder/token"
token=$(cat "$folder/token")

"$service" --listen 127.0.0.1:0 --port-file "$folder/port" --database "sqlite:$folder/profiles.db" \
  --tls-cert "$folder/cert.pem" --tls-key "$folder/key.pem" --token-file "$folder/token" \
  2> "$folder/service.log" &
service_pid=$!
for _ in $(seq 100); do [[ -s $folder/port ]] && break; sleep 0.1; done
port=$(cat "$folder/port")
echo "rqbehavior-service listens on 127.0.0.1:$port for $host (database $folder/profiles.db)"

session=$(RQBEHAVIOR_DEMO_SERVICE_PORT=$port RQBEHAVIOR_DEMO_SERVICE_CA_FILE=$folder/cert.pem "$demo")
echo "The demo host uploaded the device profile of session $session"
echo
echo "GET /api/profiler/sessions/$session:"
curl --silent --show-error --fail --cacert "$folder/cert.pem" --resolve "$host:$port:127.0.0.1" \
  -H "Authorization: Bearer $token" "https://$host:$port/api/profiler/sessions/$session" |
  python3 -m json.tool
echo
echo "Service log:"
cat "$folder/service.log"
echo
echo "Console: https://127.0.0.1:$port/console/#/session/$session?token=$token"
echo "(its certificate is the demo's own, self-signed: the browser asks to trust it)"
if [[ -t 0 ]]; then
  read -r -p "Press Enter to stop the service. "
fi
