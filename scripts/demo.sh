#!/usr/bin/env bash
# Sets everything up, builds, and completes an example file with the built-in "local" model backend.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
build=${BUILD_DIR:-build}
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$(nproc)" --target ostrel-complete
"$build/apps/ostrel-complete/ostrel-complete" examples/matrix_stats.ost --at "${1:-20:1}" --backend local --show
