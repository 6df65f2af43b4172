#!/usr/bin/env bash
# Runs the fuzz targets one after another, each for its share of the time, on a working copy of
# its committed seed corpus, and prints one summary line per target: inputs run, inputs a second,
# coverage (edges and features), corpus size, peak RSS and findings (crash, leak, timeout and
# out-of-memory reproducers left in the findings directory). Inputs a second are given per second
# of wall time and per second of the fuzzer's own CPU time: on a shared machine the second is the
# figure that compares between runs.
#
#   fuzz/run.sh [--seconds N | --hours H] [--keep-going] [--build DIR] [--nice N]
#               [--summary FILE] [target...]
#
# --seconds gives every target N seconds (default 30, or $FUZZ_SECONDS); --hours spreads H hours
# over the targets in proportion to their weights below (the readers get more). --keep-going
# runs each target in libFuzzer's fork mode, which saves a finding and carries on, so a long
# campaign is not cut short by a finding already known (the summary then counts every saved
# input and cannot give a peak RSS). Targets default to every fuzz_* program in DIR/fuzz. The
# summary goes to DIR/summary.txt unless --summary names another file, so that two runs over
# different targets can share the machine's cores. Exits non-zero when any target has a finding.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$here")
build=$root/build/fuzz
seconds=${FUZZ_SECONDS:-30}
hours=""
keep_going=""
niceness=10
summary=""
targets=()
while [ $# -gt 0 ]; do
    case "$1" in
        --seconds) seconds=$2; shift 2 ;;
        --hours) hours=$2; shift 2 ;;
        --keep-going) keep_going=1; shift ;;
        --build) build=$2; shift 2 ;;
        --nice) niceness=$2; shift 2 ;;
        --summary) summary=$2; shift 2 ;;
        -h|--help) sed -n '2,18p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
        *) targets+=("$1"); shift ;;
    esac
done
if [ ${#targets[@]} -eq 0 ]; then
    for program in "$build"/fuzz/fuzz_*; do
        [ -x "$program" ] && targets+=("$(basename "$program" | sed 's/^fuzz_//')")
    done
fi
[ ${#targets[@]} -gt 0 ] || { echo "fuzz: no targets in $build/fuzz (run make fuzz first)" >&2; exit 2; }

# Share of a long run per target: the line reader, the canonicaliser and number extraction are
# cheap per input and read every byte a user hands over, so they get the larger shares.
weight() {
    case "$1" in
        ies_lines|ies_canonical|ies_numbers) echo 3 ;;
        *) echo 2 ;;
    esac
}
if [ -n "$hours" ]; then
    total_weight=0
    for t in "${targets[@]}"; do total_weight=$((total_weight + $(weight "$t"))); done
fi

# Per-target options: the longest input worth mutating and the dictionary.
max_len() {
    case "$1" in
        ies_numbers) echo 512 ;;
        ies_lines|ies_canonical|ies_sampling) echo 4096 ;;
        scene|obj) echo 16384 ;;
        image) echo 65536 ;;
        cli_numbers) echo 128 ;;
        *) echo 32768 ;;
    esac
}
dictionary() {
    case "$1" in
        ies_*) echo "$here/dict/ies.dict" ;;
        *) echo "$here/dict/$1.dict" ;;
    esac
}

work=$build/work
findings=$build/findings
mkdir -p "$work" "$findings"
summary=${summary:-$build/summary.txt}
: > "$summary"
status=0
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}

# CPU seconds (user + system) of the finished children so far, from the shell's own accounting;
# `times` runs in this shell (a command substitution would be a fresh process without children).
# One file per run, so that parallel runs do not read each other's times.
times_file=$(mktemp "$build/.times.XXXXXX")
trap 'rm -f "$times_file"' EXIT
children_cpu() {
    tail -1 "$times_file" |
        awk '{ n = 0; for (i = 1; i <= 2; i++) { split($i, a, /[ms]/); n += a[1] * 60 + a[2] } printf "%.2f", n }'
}

format='%-14s %12s %9s %9s %7s %7s %6s %8s %8s %s\n'
printf "$format" target inputs inputs/s per_cpu_s edges features corpus seconds peak_mb \
    findings | tee -a "$summary"
for t in "${targets[@]}"; do
    program=$build/fuzz/fuzz_$t
    [ -x "$program" ] || { echo "fuzz: $program is missing" >&2; status=2; continue; }
    budget=$seconds
    if [ -n "$hours" ]; then
        budget=$(awk -v h="$hours" -v w="$(weight "$t")" -v tw="$total_weight" \
                     'BEGIN { printf "%d", h * 3600 * w / tw }')
    fi
    corpus=$work/$t
    mkdir -p "$corpus"
    [ -d "$here/corpus/$t" ] && cp -n "$here/corpus/$t"/* "$corpus"/ 2>/dev/null || true
    options=(-max_total_time="$budget" -max_len="$(max_len "$t")" -timeout=10 -rss_limit_mb=2048
             -print_final_stats=1 -artifact_prefix="$findings/$t-" -reload=0)
    if [ -n "$keep_going" ]; then
        options+=(-fork=1 -ignore_crashes=1 -ignore_timeouts=1 -ignore_ooms=1)
    fi
    dict=$(dictionary "$t")
    [ -f "$dict" ] && options+=(-dict="$dict")
    log=$build/$t.log
    before=$(ls "$findings" | grep -c "^$t-" || true)
    start=$(date +%s)
    times > "$times_file"
    cpu_before=$(children_cpu)
    set +e
    nice -n "$niceness" "$program" "${options[@]}" "$corpus" > "$log" 2>&1
    code=$?
    set -e
    elapsed=$(( $(date +%s) - start ))
    times > "$times_file"
    cpu=$(awk -v a="$(children_cpu)" -v b="$cpu_before" 'BEGIN { printf "%.2f", a - b }')
    after=$(ls "$findings" | grep -c "^$t-" || true)
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)
    peak=$(sed -n 's/^stat::peak_rss_mb: *//p' "$log" | tail -1)
    # The last status line holds the coverage: "#N ... cov: E ft: F corp: C/..." (fork mode:
    # "#N: cov: E ft: F corp: C exec/s ...", and no final statistics).
    last=$(grep -E '^#[0-9]+' "$log" | grep 'cov:' | tail -1 || true)
    edges=$(sed -n 's/.* cov: \([0-9]*\).*/\1/p' <<< "$last")
    features=$(sed -n 's/.* ft: \([0-9]*\).*/\1/p' <<< "$last")
    units=$(sed -n 's/.* corp: \([0-9]*\).*/\1/p' <<< "$last")
    if [ -n "$keep_going" ]; then
        runs=$(sed -n 's/^#\([0-9]*\):.*/\1/p' <<< "$last")
        rate=$(awk -v r="${runs:-0}" -v s="$elapsed" 'BEGIN { printf "%d", (s > 0 ? r / s : 0) }')
    fi
    found=$((after - before))
    if [ "$code" -ne 0 ] && [ "$found" -eq 0 ]; then
        found=1  # a report without a saved input (for example a crash during start-up)
    fi
    [ "$found" -gt 0 ] && status=1
    per_cpu=$(awk -v r="${runs:-0}" -v c="$cpu" 'BEGIN { printf "%d", (c > 0 ? r / c : 0) }')
    printf "$format" "$t" "${runs:-0}" "${rate:-0}" "$per_cpu" "${edges:-?}" "${features:-?}" \
        "${units:-?}" "$elapsed" "${peak:-?}" \
        "$found$([ "$found" -gt 0 ] && echo " (see $log)")" | tee -a "$summary"
done
echo "summary: $summary; findings, if any: $findings"
exit $status
