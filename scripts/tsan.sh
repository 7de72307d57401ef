#!/usr/bin/env bash
# Builds the AI client's tests with ThreadSanitizer in a build directory of their own and runs the
# concurrency tests (client worker pool, service tracker, process-wide client acquisition, the language
# server's scheduler) under it.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${TSAN_BUILD_DIR:-build-tsan}
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOSTREL_SANITIZE_THREAD=ON \
  -DOSTREL_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" -j"${JOBS:-2}" --target test_model test_prompt_acquisition test_lsp test_settings ostrel-lsp
export TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1"
"$build/tests/test_model" --gtest_filter='ClientConcurrency.*:Started.Tracker*:Started.Wait*'
"$build/tests/test_prompt_acquisition"
# Settings reloads, the language server's merges and the library's records reading values meanwhile.
"$build/tests/test_settings" --gtest_filter='SettingsStore.*:SettingsValues.*'
# The language server under load: many documents and requests at once with cancellations, and settings
# records taken while the settings change (the server
# program is built with the sanitizer too, and a report ends it with a failing status the test sees).
"$build/tests/test_lsp" --gtest_filter='ServerCompletion.*:ServerDocuments.Diagnostics*:SettingsRace.*'
