#!/usr/bin/env bash
# Builds the libFuzzer targets of fuzz/ (clang, AddressSanitizer, UndefinedBehaviorSanitizer) in their own
# build directory and runs them. Not part of CI's run. See docs/fuzzing.md.
#
#   scripts/fuzz.sh build                 configure and build every target
#   scripts/fuzz.sh run TARGET [SECONDS]  fuzz one target (default 180 s), niced, one job
#   scripts/fuzz.sh all [SECONDS]         fuzz every target in turn
#   scripts/fuzz.sh replay TARGET FILE... run a target once on given inputs (a reproducer, say)
#   scripts/fuzz.sh list                  the target names
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${OSTREL_FUZZ_BUILD:-$root/build-fuzz}
targets=(analyser formatter get_info settings_file ldap_filter model_reply fit)

install_toolchain() {
  local missing=()
  command -v clang++-14 >/dev/null || missing+=(clang-14)
  compgen -G "/usr/lib/llvm-14/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a" >/dev/null ||
    missing+=(libclang-rt-14-dev)
  ((${#missing[@]})) || return 0
  local sudo_cmd=()
  [[ $(id -u) -ne 0 ]] && sudo_cmd=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get update -q
  "${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
}

configure_and_build() {
  bash "$root/scripts/setup.sh"
  install_toolchain
  local launcher=()
  command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  local flags="-g -O1 -fno-omit-frame-pointer -fsanitize=address,undefined -fno-sanitize-recover=all"
  flags+=" -fsanitize=fuzzer-no-link"
  cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=clang++-14 \
    -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_SHARED_LINKER_FLAGS="-fsanitize=address,undefined" \
    -DOSTREL_FUZZ=ON -DBUILD_TESTING=OFF -DOSTREL_BUILD_BENCH=OFF "${launcher[@]}" >/dev/null
  nice -n 10 cmake --build "$build" -j "${OSTREL_FUZZ_JOBS:-2}" --target "${targets[@]/#/fuzz_}"
  make_seeds
}

# Seed inputs made from the examples and the golden cases, in each target's input format.
make_seeds() {
  local seeds=$build/seeds
  rm -rf "$seeds"
  mkdir -p "${targets[@]/#/$seeds/}"
  local f n=0
  for f in "$root"/examples/*.ost "$root"/examples/userlib/*.ost "$root"/tests/data/styles/*.ost "$root"/tests/data/fresh/*.ost "$root"/tests/data/heldout/*.ost "$root"/tests/data/heldout2/*.ost "$root"/tests/data/heldout3/*.ost; do
    [[ -f $f ]] || continue
    n=$((n + 1))
    { printf '\x00'; cat "$f"; } >"$seeds/analyser/example-$n"
    { printf '\x01'; cat "$f"; } >"$seeds/analyser/example-whole-$n"
    { printf '\x00\x00\x04\x04\x01\x02\x00'; cat "$f"; } >"$seeds/formatter/example-$n"
  done
  for f in "$root"/tests/golden/cases/*.case; do
    n=$((n + 1))
    # get_info: the reply, 0xFF, the file with 0xFF at the cursor.
    awk -v out="$seeds/get_info/case-$n" '
      /^=== / { section = $2; next }
      section == "reply" { reply = reply $0 "\n" }
      section == "file" { line = $0; gsub(/<NL>/, "", line); file = file line "\n" }
      END { sub(/<\|>/, "\377", file); printf "%s\377%s", reply, file > out }' "$f"
    # fit: the same after two settings bytes (4 columns, spaces; all functions indented, blank lines ignored).
    { printf '\x1b\x05'; cat "$seeds/get_info/case-$n"; } >"$seeds/fit/case-$n"
  done
  for f in "$root"/examples/*.ost "$root"/examples/userlib/*.ost; do
    [[ -f $f ]] || continue
    n=$((n + 1))
    # fit: two settings bytes, the reply, 0xFF, the file with 0xFF at the cursor. The reply is the file's
    # own next lines from a cursor after the indentation of a line a third and two thirds down (or in the
    # middle of that line's code).
    awk -v out="$seeds/fit/example-$n" '
      { lines[NR] = $0 }
      END {
        for (part = 1; part <= 4; part++) {
          at = int(NR * (part <= 2 ? 1 : 2) / 3) + 1
          if (at > NR) at = NR
          indent = lines[at]; sub(/[^ \t].*$/, "", indent)
          code = substr(lines[at], length(indent) + 1)
          cut = part % 2 ? 0 : int(length(code) / 2)
          before = ""; for (i = 1; i < at; i++) before = before lines[i] "\n"
          before = before indent substr(code, 1, cut)
          reply = "```ostrel\n" substr(code, cut + 1)
          for (i = at + 1; i <= at + 2 && i <= NR; i++) reply = reply "\n" lines[i]
          reply = reply "\n```\n"
          after = "\n"; for (i = at + 3; i <= NR; i++) after = after lines[i] "\n"
          file = out "-" part
          printf "%c%c%s\377%s\377%s", 3 * 8 + 3, 2 + 3 * (part % 3), reply, before, after > file
          close(file)
        }
      }' "$f"
  done
  cp "$root"/fuzz/seeds/settings_file/* "$seeds/settings_file/" 2>/dev/null || true
  cp "$root"/fuzz/seeds/ldap_filter/* "$seeds/ldap_filter/" 2>/dev/null || true
  cp "$root"/fuzz/seeds/model_reply/* "$seeds/model_reply/" 2>/dev/null || true
}

run_target() {
  local target=$1 seconds=${2:-180}
  [[ -x $build/fuzz/fuzz_$target ]] || { echo "not built: $target (run: $0 build)" >&2; exit 1; }
  [[ -d $build/seeds ]] || make_seeds
  local corpus=$build/corpus/$target artifacts=$build/artifacts/$target
  mkdir -p "$corpus" "$artifacts"
  local regressions=$root/tests/regressions/cases/$target
  local extra=()
  [[ -d $regressions ]] && extra+=("$regressions")
  echo "fuzzing $target for $seconds s; new crashes go to $artifacts/" >&2
  ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1 UBSAN_OPTIONS=print_stacktrace=1 \
    nice -n 10 "$build/fuzz/fuzz_$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 \
    -max_len=16384 -print_final_stats=1 -artifact_prefix="$artifacts/" \
    "$corpus" "$build/seeds/$target" "${extra[@]}"
}

case ${1:-} in
  build) configure_and_build ;;
  run) run_target "${2:?target}" "${3:-180}" ;;
  all) for t in "${targets[@]}"; do run_target "$t" "${2:-180}"; done ;;
  replay)
    target=${2:?target}
    shift 2
    "$build/fuzz/fuzz_$target" -runs=1 "$@"
    ;;
  list) printf '%s\n' "${targets[@]}" ;;
  *)
    sed -n '2,10p' "$0" >&2
    exit 2
    ;;
esac
