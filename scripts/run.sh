#!/bin/bash
# scripts/run.sh: starts lcfwd on a private root directory, loads a whole Internet routing table as the supervisor
# would, checks every prefix in the forwarding engine, kills and restarts it while another process looks up all prefixes,
# prints the figures and stops. Exit code 0 only when nothing was wrong. KEEP=1 keeps the root directory.
cd "$(dirname "$0")/.." || exit 2
bin=build/release/bin
ctl=$bin/lcfwdctl
lists=(data/internet-v4.txt.xz data/internet-v6.txt.xz)
shape=(--next-hops 64 --aggregates 10000)
needed_kb=$((1024 * 1024)) # room that store, engine and trace may take

# Shared memory where there is enough of it (containers often have little), else an ordinary folder.
base=/tmp
free_kb=$(df -Pk /dev/shm 2>/dev/null | awk 'NR == 2 {print $4}')
[ -w /dev/shm ] && [ "${free_kb:-0}" -ge "$needed_kb" ] && base=/dev/shm
root=$(mktemp -d "$base/lcfwd-run.XXXXXX") || exit 2
pid=
probe=

finish() {
    [ -n "$probe" ] && kill -KILL "$probe" 2>/dev/null
    [ -n "$pid" ] && kill -KILL "$pid" && wait "$pid" 2>/dev/null
    if [ "${KEEP:-0}" = 1 ]; then echo "kept: $root"; else rm -rf "$root"; fi
}
trap finish EXIT
trap 'exit 130' INT TERM

fail() {
    echo "make run: $*" >&2
    if [ -s "$root/console.txt" ]; then echo "--- last words of lcfwd:" >&2; tail -5 "$root/console.txt" >&2; fi
    exit 1
}
resident_kb() { awk '/^VmRSS:/ {print $2}' "/proc/$pid/status"; }
grouped() { printf "%s" "$1" | sed -E ':a; s/^([0-9]+)([0-9]{3})/\1,\2/; ta'; }
figure() { printf "  %-18s %s\n" "$1" "$2"; }
# The number of a key in one-row JSON output.
json_number() { sed -nE "s/.*\"$1\": ([0-9.]+).*/\1/p" <<<"$2"; }

# Starts lcfwd and waits until it answers.
start() {
    "$bin/lcfwd" --slot 1 --root "$root" "$@" >"$root/console.txt" 2>&1 </dev/null &
    pid=$!
    local _
    for _ in $(seq 1000); do
        "$ctl" status --root "$root" >/dev/null 2>&1 && break
        kill -0 "$pid" 2>/dev/null || { wait "$pid"; code=$?; pid=; fail "lcfwd ended with code $code"; }
        sleep 0.01
    done
}
engine_writes() { "$ctl" engine --root "$root" | awk '$2 == "writes" {print $3}'; }
milliseconds() { echo $(($(date +%s%N) / 1000000)); }

start --cold
"$ctl" vdc create 1 --root "$root" >/dev/null || fail "VDC 1 cannot be made"
echo "lcfwd runs (process $pid) on the root directory $root; loading the Internet's routing table ..."

before=$(resident_kb)
loaded=$("$ctl" load "${lists[@]}" "${shape[@]}" --root "$root" --json) || fail "the table was not loaded: $loaded"
after=$(resident_kb)
"$ctl" resolve "${shape[@]}" --root "$root" --quiet || fail "the next hops were not resolved"
status=0
verified=$("$ctl" verify "${lists[@]}" "${shape[@]}" --root "$root" --json) || status=1
[ -n "$verified" ] || fail "the look-ups were not made"

# The same routes by recursive next hops: every prefix moves to a shared object, one path change moves many prefixes.
recursed=$("$ctl" load "${lists[@]}" "${shape[@]}" --recursive --root "$root" --json) ||
    fail "the recursive table was not loaded: $recursed"
changed=$("$ctl" repoint 0 1 --root "$root" --json) || fail "the path was not changed"
"$ctl" repoint 0 0 --root "$root" --quiet >/dev/null || fail "the path was not changed back"
verified_again=$("$ctl" verify "${lists[@]}" "${shape[@]}" --recursive --root "$root" --json) || status=1
[ -n "$verified_again" ] || fail "the look-ups of recursive routes were not made"

# Dies and comes back while another process looks up every prefix, over and over.
writes_before=$(engine_writes)
"$ctl" probe "${lists[@]}" "${shape[@]}" --changes 0 --seconds 600 --root "$root" --json >"$root/probe.txt" 2>&1 &
probe=$!
for _ in $(seq 300); do # it reads the lists first
    [ "$("$ctl" engine --root "$root" | awk '$2 == "readers" {print $3}')" -gt 1 ] && break
    sleep 0.1
done
kill -KILL "$pid" && wait "$pid" 2>/dev/null
dead=$(milliseconds)
start
restart_ms=$(($(milliseconds) - dead))
writes=$(($(engine_writes) - writes_before))
sleep 1
kill -TERM "$probe" && wait "$probe" || status=1
probe=
probed=$(cat "$root/probe.txt")
[ "$writes" -eq 0 ] || status=1

routes=$(json_number routes "$loaded")
refused=$(json_number routes_refused "$loaded")
rate=$(json_number routes_per_s "$loaded")
lookups=$(json_number lookups "$verified")
wrong=$(json_number wrong "$verified")
v4=$("$ctl" engine --root "$root" | awk '/ v4_prefixes /{print $3}')
v6=$("$ctl" engine --root "$root" | awk '/ v6_prefixes /{print $3}')
wrong_again=$(json_number wrong "$verified_again")
refused_again=$(json_number routes_refused "$recursed")
[ "$refused" = 0 ] && [ "$wrong" = 0 ] && [ "$refused_again" = 0 ] && [ "$wrong_again" = 0 ] || status=1
[ $((v4 + v6)) -eq "$routes" ] || { echo "make run: the engine holds $((v4 + v6)) routes of $routes" >&2; status=1; }

echo
figure "routes" "$(grouped "$routes") (IPv4 $(grouped "$v4"), IPv6 $(grouped "$v6"), over 64 next hops, with"
figure "" "default routes and covering aggregates)"
figure "routes/s" "$(grouped "$rate") from first send to last answer, $(grouped "$refused") refused"
figure "resident memory" "$((after / 1024)) MiB, $(((after - before) * 1024 / routes)) bytes a route (model, store and engine)"
figure "look-ups" "$(grouped "$lookups"): first, middle and last address of every prefix"
figure "wrong look-ups" "$(grouped "$wrong")"
figure "recursive" "the same routes again by recursive next hops: $(grouped "$(json_number routes_per_s "$recursed")") routes/s, $(grouped "$refused_again") refused,"
figure "" "$(grouped "$wrong_again") wrong look-ups"
figure "path change" "$(json_number microseconds "$changed") us from send to answer, for all prefixes behind one of them"
figure "restart" "killed and started again, ready after $restart_ms ms with all routes, $(grouped "$writes") engine writes;"
figure "" "$(grouped "$(json_number lookups "$probed")") look-ups meanwhile, $(grouped "$(json_number wrong "$probed")") wrong, $(grouped "$(json_number missing "$probed")") of them missing"
figure "log" "$root/var/sysmgr/tmp_logs/lcfwd_log.txt"
figure "store" "$root/dev/shm/lcfwd_*"

kill -TERM "$pid"
for _ in $(seq 100); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
kill -0 "$pid" 2>/dev/null && fail "lcfwd did not stop within 10 s"
wait "$pid"
code=$?
pid=
[ "$code" -eq 0 ] || { echo "make run: lcfwd ended with code $code" >&2; status=1; }

cat <<TRY

Log and store are removed now; KEEP=1 make run keeps them. Try next:
  export PATH=\$PWD/$bin:\$PATH LCFWD_ROOT=/tmp/lcfwd
  lcfwd --root \$LCFWD_ROOT &
  lcfwdctl vdc create 1 && lcfwdctl load ${lists[0]} && lcfwdctl resolve
  lcfwdctl lookup 1.1.1.1 9.9.9.9
  lcfwdctl --help
TRY
exit $status
