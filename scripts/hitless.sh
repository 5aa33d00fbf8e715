#!/bin/bash
# scripts/hitless.sh: the proof that nobody notices a restart: dies at every store and engine write of a life in one
# program, then kills and restarts real processes with the Internet's routing table, and ends with plain lines
# `name value`. Exit code 0 only when nothing was wrong. HITLESS_KILLS, HITLESS_RESTARTS, HITLESS_ROUTES and
# HITLESS_SEED (tests/process/hitless.cc), CRASHPOINTS_STEP (every n-th write only) make it shorter.
cd "$(dirname "$0")/.." || exit 2
bin=build/release/bin
status=0
log=$(mktemp) || exit 2
trap 'rm -f "$log"' EXIT

"$bin/ufib_crashpoints" --gtest_brief=1 >"$log" 2>&1 || { status=1; cat "$log"; }
tried=$(awk '$1 == "crashpoints.tried" {sum += $2} END {print sum + 0}' "$log")
failed=$(awk '$1 == "crashpoints.failed" {sum += $2} END {print sum + 0}' "$log")
"$bin/lcfwd_hitless" || status=1
echo "crashpoints.tried $tried"
echo "crashpoints.failed $failed"
[ "$tried" -gt 0 ] && [ "$failed" -eq 0 ] && [ "$status" -eq 0 ]
