#!/bin/sh
# Builds the libFuzzer targets (preset "fuzz") and runs each for FUZZ_SECONDS
# (default 20) from its seeds in tests/fuzz/corpus/<target>/. Fails on any
# crash, leak or time-out, and prints the reproducer's path and bytes.
#   scripts/fuzz.sh                 every target
#   scripts/fuzz.sh dispatcher ...  only these
set -u
cd "$(dirname "$0")/.."
FUZZ_SECONDS=${FUZZ_SECONDS:-20}

cmake --preset fuzz >/dev/null || exit 1
cmake --build --preset fuzz || exit 1

if [ $# -gt 0 ]; then
	targets="$*"
else
	targets=$(cd build-fuzz/bin && ls *_fuzz | sed 's/_fuzz$//')
fi

runs=build-fuzz/runs
failed=""
count=0
for t in $targets; do
	count=$((count + 1))
	if [ ! -d "tests/fuzz/corpus/$t" ] || [ ! -x "build-fuzz/bin/${t}_fuzz" ]; then
		echo "fuzz: $t: no such target, or no seeds in tests/fuzz/corpus/$t"
		failed="$failed $t"
		continue
	fi
	work=$runs/$t
	rm -rf "$work"
	mkdir -p "$work/corpus" "$work/artifacts"
	# New inputs go to the run's own folder; the kept seeds only seed it.
	ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
		"build-fuzz/bin/${t}_fuzz" -max_total_time="$FUZZ_SECONDS" -timeout=10 -rss_limit_mb=2048 \
		-print_final_stats=1 -artifact_prefix="$work/artifacts/" \
		"$work/corpus" "tests/fuzz/corpus/$t" >"$work/log" 2>&1
	rc=$?
	execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/log")
	if [ $rc -eq 0 ] && [ -z "$(ls "$work/artifacts")" ]; then
		echo "fuzz: $t: ok, ${execs:-0} inputs in ${FUZZ_SECONDS} s"
		continue
	fi
	failed="$failed $t"
	echo "fuzz: $t: FAILED (exit $rc), log $work/log"
	grep -E '^(==[0-9]+==ERROR|SUMMARY|.*runtime error|ALARM|.*Test unit written)' "$work/log" | head -8
	for a in "$work"/artifacts/*; do
		[ -e "$a" ] || continue
		echo "reproducer: $a ($(wc -c <"$a") bytes)"
		xxd "$a" | head -32
		echo "  run it again: build-fuzz/bin/${t}_fuzz $a"
	done
done

if [ -n "$failed" ]; then
	echo "fuzz: FAILED:$failed (of $count targets, ${FUZZ_SECONDS} s each)"
	exit 1
fi
echo "fuzz: all $count targets passed (${FUZZ_SECONDS} s each)"
