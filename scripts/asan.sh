#!/usr/bin/env bash
# Builds the language server and the AI client's tests with AddressSanitizer and UndefinedBehaviorSanitizer
# in a build directory of their own and runs them: the server program is built the same way, so that a
# use after free, an overflow or a leak in the server ends it with a failing status the tests see.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${ASAN_BUILD_DIR:-build-asan}
flags="-fsanitize=address,undefined -fno-omit-frame-pointer -Wno-maybe-uninitialized"  # Boost.Signals2 trips it
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_FLAGS="$flags" \
  -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address,undefined" -DCMAKE_SHARED_LINKER_FLAGS="-fsanitize=address,undefined" \
  >/dev/null
cmake --build "$build" -j"${JOBS:-2}" --target test_model test_lsp ostrel-lsp
reports=$(mktemp -d)
trap 'rm -rf "$reports"' EXIT
# OpenSSL's configuration, loaded once per process when curl starts, is never freed.
echo "leak:libcrypto.so" >"$reports/suppressions"
# Reports go to files: a server that fails late (at exit, on a worker) may not fail the test that ran it.
export ASAN_OPTIONS="detect_leaks=1:log_path=$reports/report" LSAN_OPTIONS="suppressions=$reports/suppressions:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:log_path=$reports/report"
status=0
"$build/tests/test_model" || status=1
"$build/tests/test_lsp" || status=1
if compgen -G "$reports/report.*" >/dev/null && grep -qE "ERROR: |runtime error" "$reports"/report.*; then
  cat "$reports"/report.* >&2
  status=1
fi
exit $status
