#!/usr/bin/env bash
# Fails when the shared library exports a symbol outside its public surface:
# the RQB classes and constants, Reachability and its notification name, the
# C interface.
set -euo pipefail
library=$1
symbols=$(nm -D --defined-only "$library" | awk '{print $3}' | c++filt)
[ -n "$symbols" ] || { echo "no exported symbols in $library"; exit 1; }
grep -q '^RQBehavior::getInstance' <<<"$symbols" || { echo "facade not exported"; exit 1; }
unexpected=$(grep -v -E '^(RQB|rqb_|Reachability|kReachabilityChangedNotification|API_ERROR$|DeviceGeneratedTag$|EXTERNAL_SETTINGS_NOT_FOUND$|UNDEFINED_(APP|SESSION)_ID_ERR_MESSAGE$|(vtable|typeinfo|typeinfo name) for (RQB|Reachability)|RQ_BEHAVIOR_ERROR_DOMAIN$)' <<<"$symbols" || true)
if [ -n "$unexpected" ]; then
  echo "exported outside the public surface:"
  echo "$unexpected"
  exit 1
fi
echo "$(wc -l <<<"$symbols") exported symbols, all public"
