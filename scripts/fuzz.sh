#!/bin/bash
# scripts/fuzz.sh BUILD SECONDS: runs each libFuzzer target of a build, beginning with its seeds. What a run finds
# stays in BUILD/corpus/TARGET for the next one, inputs that end the program in BUILD/crash-*.
set -e
build=$1 seconds=$2 failed=0
for program in "$build"/bin/lcfwd_fuzz_*; do
    target=${program##*/lcfwd_fuzz_}
    [ "$target" != replay ] || continue
    corpus=$build/corpus/$target
    "$build/bin/lcfwd_fuzz_replay" "$target" --write "$corpus"
    echo "== $target, $seconds s"
    "$program" -max_total_time="$seconds" -max_len=8192 -timeout=20 -rss_limit_mb=4096 -print_final_stats=0 -verbosity=0 \
        -artifact_prefix="$build/" "$corpus" || failed=1
done
exit $failed
