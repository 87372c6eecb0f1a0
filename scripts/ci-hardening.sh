#!/usr/bin/env bash
# Hardening stages of CI: the suite under AddressSanitizer and UndefinedBehaviorSanitizer, the
# 32-bit suite, the fuzz corpora replayed by the fuzzers themselves and a short run of each.
# Usage: ci-hardening.sh [asan|m32|fuzz]...   (no argument: all three)
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

FUZZ_SECONDS="${TRIMORA_FUZZ_SECONDS:-30}"
JOBS="$(nproc)"

stage_asan() {
  configure_and_build asan
  log "testing (asan)"
  (cd "$ROOT" && ctest --preset asan -j "$JOBS" --timeout 900)
}

stage_m32() {
  configure_and_build m32
  log "testing (m32)"
  # No 32-bit Qt wrapper or decimation application here: the tests needing them skip and say so,
  # and the decimation application's own tests show as disabled.
  (cd "$ROOT" && ctest --preset m32 -j "$JOBS" --timeout 600)
}

stage_fuzz() {
  configure_and_build fuzz --target trimora_fuzzers
  local bin="$ROOT/build/fuzz/bin" work
  work="$(mktemp -d /tmp/trimora_fuzz_ci.XXXXXX)"
  trap 'rm -rf "$work"' RETURN
  local targets=()
  for f in "$ROOT"/fuzz/*_fuzzer.cpp; do
    f="${f##*/}"
    targets+=("${f%_fuzzer.cpp}")
  done
  log "fuzz corpora replayed: ${targets[*]}"
  for t in "${targets[@]}"; do
    "$bin/fuzz_$t" -runs=0 -rss_limit_mb=2048 -timeout=10 \
      "$ROOT/fuzz/corpus/$t" "$ROOT/fuzz/regressions/$t" >"$work/$t.replay.log" 2>&1 ||
      { cat "$work/$t.replay.log" >&2; return 1; }
  done
  log "fuzzing each target for ${FUZZ_SECONDS} s, ${JOBS} at a time"
  # The corpus is copied: CI never changes the repository's folders.
  local pids=() names=() failed=0 i
  for t in "${targets[@]}"; do
    mkdir -p "$work/$t/corpus" "$work/$t/artifacts"
    cp "$ROOT/fuzz/corpus/$t/"* "$work/$t/corpus/" 2>/dev/null || true
    "$bin/fuzz_$t" -max_total_time="$FUZZ_SECONDS" -rss_limit_mb=2048 -timeout=10 \
      -dict="$ROOT/fuzz/dict/$t.dict" -artifact_prefix="$work/$t/artifacts/" -print_final_stats=1 \
      "$work/$t/corpus" >"$work/$t.log" 2>&1 &
    pids+=($!)
    names+=("$t")
    if ((${#pids[@]} >= JOBS)); then
      wait "${pids[0]}" || { failed=1; tail -40 "$work/${names[0]}.log" >&2; }
      pids=("${pids[@]:1}")
      names=("${names[@]:1}")
    fi
  done
  for i in "${!pids[@]}"; do
    wait "${pids[$i]}" || { failed=1; tail -40 "$work/${names[$i]}.log" >&2; }
  done
  for t in "${targets[@]}"; do
    printf '  %-14s %s executions\n' "$t" \
      "$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/$t.log")" >&2
  done
  ((failed == 0)) || { log "a fuzz target failed; the crashing inputs are printed above"; return 1; }
}

stages=("$@")
((${#stages[@]})) || stages=(asan m32 fuzz)
install_missing "${TRIMORA_PACKAGES[@]}"
for s in "${stages[@]}"; do
  "stage_$s"
done
