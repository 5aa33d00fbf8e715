#!/bin/bash
# scripts/check_includes.sh: fails when a folder includes one that it must not know. The arrows go down only:
#   tools tests bench -> diag uservices mfib lfib ufib -> platform -> persist -> core -> host
# and softfwd, which stands where a hardware library would, knows platform/ and host/ alone.
# core/wire.h is a leaf that everybody may use. Domains know each other through <domain>/<domain>_*.h only.
cd "$(dirname "$0")/.." || exit 2

git ls-files '*.h' '*.cc' | xargs -r grep -Hn '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' | awk '
BEGIN {
    split("host core persist platform codec ufib uservices mfib lfib diag softfwd tools tests bench", all, " ")
    level["host"] = 0; level["core"] = 1; level["codec"] = 1; level["persist"] = 2; level["platform"] = 3
    level["ufib"] = level["uservices"] = level["mfib"] = level["lfib"] = level["diag"] = 4
    level["softfwd"] = 4; level["tools"] = level["tests"] = level["bench"] = 5
}
function fail(why) { printf "%s: %s\n", place, why; failures++ }
{
    place = $0; sub(/:[[:space:]]*#.*/, "", place)
    from = place; sub(/:.*/, "", from)
    to = $0; sub(/^[^"]*"/, "", to); sub(/".*/, "", to)
    if (index(to, "/") == 0) { fail("include \"" to "\" is not relative to the root of the tree"); next }
    split(from, f, "/"); split(to, t, "/")
    source = f[1]; target = t[1]
    checked++
    if (!(target in level)) { fail("unknown folder in \"" to "\""); next }
    if (to == "core/wire.h" || source == target) next
    if (to ~ /_private\.h$/ && level[source] != 5) { fail("\"" to "\" is private to its folder"); next }
    if (source == "softfwd" && target != "platform" && target != "host")
        fail(source "/ must not include \"" to "\": it knows platform/ and host/ alone")
    else if (target == "softfwd" && level[source] != 5)
        fail(source "/ must not include \"" to "\": the engine is reached through the platform tables")
    else if (level[source] == 4 && level[target] == 4 && index(t[2], target "_") != 1)
        fail("\"" to "\" is no public header of " target "/")
    else if (level[target] > level[source] || (level[source] == 5 && level[target] == 5 && source != "tests" && source != "bench"))
        fail(source "/ must not include \"" to "\": arrows go down only")
}
END {
    if (failures) { printf "%d includes against the arrows\n", failures; exit 1 }
    if (!checked) { print "no sources found: not a git checkout?"; exit 1 }
    printf "%d includes, all in order\n", checked
}'
