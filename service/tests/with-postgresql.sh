#!/usr/bin/env bash
# Runs a command against a throw-away PostgreSQL cluster (pg_virtualenv sets
# PGHOST, PGPORT, PGUSER, PGPASSWORD and PGDATABASE for it). Each try takes a
# random port, so that runs in parallel do not race for the same one. Where
# no cluster can start, says so in one line and exits 77 (skipped).
set -uo pipefail

if ! command -v pg_virtualenv >/dev/null; then
  echo "skipped: pg_virtualenv (postgresql-common) is not installed"
  exit 77
fi
started=$(mktemp)
trap 'rm -f "$started"' EXIT
for try in 1 2 3; do
  rm -f "$started"
  # -t: a cluster in a temporary folder even as root, not the shared system one.
  PGPORT=$((20000 + RANDOM % 30000)) pg_virtualenv -t \
    sh -c 'touch "$0" && exec "$@"' "$started" "$@"
  status=$?
  [[ -e $started ]] && exit "$status"
done
echo "skipped: no PostgreSQL cluster could start (tried 3 ports)"
exit 77
