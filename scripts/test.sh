#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_missing "${TRIMORA_PACKAGES[@]}"
configure_and_build default
log "testing (default)"
cd "$ROOT"
ctest --preset default -j "$(nproc)" --timeout 600
