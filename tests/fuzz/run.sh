#!/usr/bin/env bash
# Runs each fuzz target of a fuzz build for a number of seconds, seeded from tests/data.
# Usage: tests/fuzz/run.sh <build folder> <seconds>
set -euo pipefail
build=$1
seconds=$2
root=$(cd "$(dirname "$0")/../.." && pwd)
data=$root/tests/data
work=$build/fuzz-run
rm -rf "$work"
mkdir -p "$work" "$build/findings"

seeds() { # target, then the seed files
    local target=$1
    shift
    mkdir -p "$work/$target/seeds" "$work/$target/corpus"
    for f in "$@"; do [ -f "$f" ] && cp "$f" "$work/$target/seeds/"; done
    return 0
}
seeds CshReaderFuzz "$data"/StoreKit/crash/csh/*.csh
seeds BinReaderFuzz "$data"/StoreKit/crash/bin/*.bin
seeds ConfigurationReaderFuzz "$data"/StoreKit/*.cfg "$data"/StoreKit/format/*
# An ISO-MME test folder becomes one input: header, channel list and channel files joined by "@@@".
seeds MmeReaderFuzz
for test in "$data"/StoreKit/crash/mme/*/; do
    [ -d "$test" ] || continue
    header=$(find "$test" -maxdepth 1 -iname '*.mme' | head -n 1)
    list=$(find "$test" -iname '*.chn' | head -n 1)
    [ -n "$header" ] && [ -n "$list" ] || continue
    {
        cat "$header"
        printf '\n@@@\n'
        cat "$list"
        for channel in $(find "$(dirname "$list")" -iregex '.*\.[0-9][0-9][0-9]$' | sort -f); do
            printf '\n@@@\n'
            cat "$channel"
        done
    } > "$work/MmeReaderFuzz/seeds/$(basename "$test").seed"
done

for target in CshReaderFuzz BinReaderFuzz MmeReaderFuzz ConfigurationReaderFuzz; do
    echo "== $target for ${seconds} s"
    log=$work/$target.log
    status=0
    "$build/tests/fuzz/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -artifact_prefix="$build/findings/$target-" -print_final_stats=1 \
        "$work/$target/corpus" "$work/$target/seeds" >"$log" 2>&1 || status=$?
    grep -E '^(#[0-9]+[[:space:]]+DONE|stat::number_of_executed_units|SUMMARY|==[0-9]+==ERROR)' "$log" || true
    if [ "$status" -ne 0 ]; then
        tail -n 40 "$log" >&2
        echo "$target found a fault (exit $status): its input is in $build/findings" >&2
        exit 1
    fi
done
