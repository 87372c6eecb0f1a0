#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test; then the hardening stages
# (sanitizers, 32-bit, fuzzing: scripts/ci-hardening.sh). TRIMORA_SKIP_HARDENING=1 runs the
# default suite only.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_missing "${TRIMORA_PACKAGES[@]}"
ensure_locale de_DE.UTF-8
configure_and_build default
log "testing (default)"
cd "$ROOT"
ctest --preset default -j "$(nproc)" --timeout 600

if [[ "${TRIMORA_SKIP_HARDENING:-0}" != 1 ]]; then
  "$ROOT/scripts/ci-hardening.sh"
fi
