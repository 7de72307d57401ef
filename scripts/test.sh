#!/usr/bin/env bash
# Sets everything up, builds and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
build=${BUILD_DIR:-build}
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build" -j"$(nproc)"
ctest --test-dir "$build" --output-on-failure -j"$(nproc)"
