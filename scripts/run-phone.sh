#!/bin/sh
# Builds everything and starts the simulated phone with a station console.
# Usage: scripts/run-phone.sh [BOARD_DIR]   (default: ./board)
set -e
cd "$(dirname "$0")/.."
sh scripts/setup.sh
cmake --preset default >/dev/null
cmake --build --preset default
exec build/bin/ftm-sim run "${1:-board}"
