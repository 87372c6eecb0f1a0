# Shared by the set-up scripts: installs what is missing, configures and builds.
# Sourced, not run.

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

# Debian packages the build, tests and benchmarks need.
TRIMORA_PACKAGES=(
  build-essential cmake ninja-build pkg-config
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  libtinyobjloader-dev
  qt6-base-dev qt6-image-formats-plugins
  libmeshoptimizer-dev
  # Hardening: libFuzzer and the sanitizers (clang), the 32-bit build.
  clang libclang-rt-14-dev g++-multilib
  # A locale with a decimal comma, so the OBJ number tests run under a host-like locale.
  locales
)

log() { printf '\033[1m==> %s\033[0m\n' "$*" >&2; }

missing_packages() {
  local pkg status
  for pkg in "$@"; do
    status="$(dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null || true)"
    [[ "$status" == "install ok installed" ]] || printf '%s\n' "$pkg"
  done
}

install_missing() {
  local missing
  mapfile -t missing < <(missing_packages "$@")
  ((${#missing[@]} == 0)) && return 0
  log "installing: ${missing[*]}"
  local sudo=()
  [[ $(id -u) -eq 0 ]] || sudo=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  "${sudo[@]}" apt-get -o DPkg::Lock::Timeout=600 update -qq
  "${sudo[@]}" apt-get -o DPkg::Lock::Timeout=600 install -y -qq --no-install-recommends "${missing[@]}"
}

# ensure_locale NAME: compiles one locale when the system lacks it (the tests switch to it).
ensure_locale() {
  local name="$1" lang="${1%%.*}"
  local wanted="${name,,}"; wanted="${wanted/utf-8/utf8}"
  locale -a 2>/dev/null | tr '[:upper:]' '[:lower:]' | grep -qx "$wanted" && return 0
  [[ $(id -u) -eq 0 ]] || { log "locale $name missing (needs root to add)"; return 0; }
  log "adding locale $name"
  localedef -i "$lang" -c -f UTF-8 "$name" || log "could not add locale $name"
}

# configure_and_build PRESET [targets...]
configure_and_build() {
  local preset="$1"; shift
  local dir="$ROOT/build/$preset"
  if [[ ! -f "$dir/build.ninja" ]]; then
    log "configuring ($preset)"
    cmake --preset "$preset" -S "$ROOT" >/dev/null
  fi
  log "building ($preset)"
  cmake --build "$dir" -j "$(nproc)" "$@"
}
