#!/usr/bin/env bash
# Sets everything up, builds, and completes an example with the built-in "local" model backend.
#   bash scripts/demo.sh                    a draft of examples/matrix_stats.ost (its first 18 lines),
#                                           completed at its end, as if the user were writing it
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
draft="$build/demo/matrix_stats_draft.ost"
mkdir -p "$(dirname "$draft")"
head -n 18 examples/matrix_stats.ost >"$draft"
exec "$program" "$draft" --at 19:1 --backend local --show
