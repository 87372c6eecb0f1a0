#!/usr/bin/env bash
# Fetches real scans for the decimation benchmark from Debian's CGAL demo data, without installing
# anything: the package is downloaded and unpacked under /tmp. Prints the folder of OFF meshes.
set -euo pipefail
DEST="${1:-/tmp/trimora-scans}"
if [[ ! -f "$DEST/data/meshes/bunny00.off" ]]; then
  work="$(mktemp -d)"
  trap 'rm -rf "$work"' EXIT
  (cd "$work" && apt-get download libcgal-demo >/dev/null)
  dpkg -x "$work"/libcgal-demo_*.deb "$work/pkg"
  mkdir -p "$DEST"
  tar -xzf "$work/pkg/usr/share/doc/libcgal-dev/data.tar.gz" -C "$DEST" data/meshes
fi
echo "$DEST/data/meshes"
