#!/usr/bin/env bash
# Installs what is missing, builds, and runs the main job through the host simulator:
# the built-in sample decimated to 10% through Trimora.so and TrimoraApp.
# Arguments go to "plastra-sim decimate" (for example a mesh of your own: scripts/demo.sh my.obj).
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_missing "${TRIMORA_PACKAGES[@]}"
configure_and_build default
bin="$ROOT/build/default/bin"
if [[ ! -x "$bin/TrimoraApp" ]]; then
  log "TrimoraApp is not built yet: the decimation cannot run"
  exit 1
fi
out="$ROOT/build/default/demo"
mkdir -p "$out"
log "running plastra-sim"
if (($# == 0)); then
  "$bin/plastra-sim" decimate --percent 10 -o "$out/sample_decimated.obj"
else
  "$bin/plastra-sim" decimate "$@"
fi
