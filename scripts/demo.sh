#!/usr/bin/env bash
# Sets everything up, builds, and completes a file with the built-in "local" model backend.
#   bash scripts/demo.sh                    scripts/demo/daily_summary.ost, a file being written, at its
#                                           end: the local backend finds the rest in the other file of
#                                           its folder (weekly_summary.ost); neither is in its corpus
#   bash scripts/demo.sh FILE LINE:COLUMN   any file and cursor
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
build=${BUILD_DIR:-build}
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$(nproc)" --target ostrel-complete
program="$build/apps/ostrel-complete/ostrel-complete"
if [[ $# -ge 2 ]]; then
    exec "$program" "$1" --at "$2" --backend local --show
fi
exec "$program" scripts/demo/daily_summary.ost --at 6:1 --backend local --show
