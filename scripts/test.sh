#!/bin/sh
# Builds and runs every test: the plain build, then the same suite under
# AddressSanitizer and UndefinedBehaviorSanitizer, each fuzz target for a
# bounded time (FUZZ_SECONDS, default 20), then the phone's ARM build with
# its tests run under qemu-arm (its ctest summary closes the run).
set -e
cd "$(dirname "$0")/.."
sh scripts/setup.sh
# Every build goes through ccache, keyed by paths below the checkout, so a
# second clone or a rebuild compiles only what changed.
export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1
cmake --preset default
cmake --build --preset default
ctest --preset default
cmake --preset asan
cmake --build --preset asan
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	ctest --preset asan
sh scripts/fuzz.sh
cmake --preset armel
cmake --build --preset armel
ctest --preset armel
