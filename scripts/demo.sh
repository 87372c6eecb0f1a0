#!/usr/bin/env bash
# Installs what is missing, builds, and runs the main job through the host simulator.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_missing "${TRIMORA_PACKAGES[@]}"
configure_and_build default
log "running plastra-sim"
"$ROOT/build/default/bin/plastra-sim" demo "$@"
