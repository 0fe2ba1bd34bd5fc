# shellcheck shell=bash
# What the scripts beside this file share; they source it. It leaves the working directory at the repository root.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

as_root=()
[ "$(id -u)" = 0 ] || as_root=(sudo)

# A machine that never fetched the package lists, or has old ones, fails once.
with_lists() {
  "$@" >/dev/null 2>&1 || { "${as_root[@]}" apt-get update -qq && "$@" >/dev/null; }
}

# need_packages PURPOSE...: installs what this machine lacks for building and for these, the lines of scripts/packages; mostly nothing.
need_packages() {
  local purpose package missing=()
  for purpose in build "$@"; do
    # shellcheck disable=SC2013  # words are meant, not lines
    for package in $(sed -n "s/^$purpose: //p" scripts/packages); do
      [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  echo "Installing: ${missing[*]}"
  with_lists "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

# Leaves promtool and prometheus in build/. Debian's package of the server would start it when it is installed.
need_prometheus() {
  [ ! -x build/promtool ] || [ ! -x build/prometheus ] || return 0
  echo "Fetching: prometheus"
  rm -rf build/fetched
  mkdir -p build/fetched
  with_lists env -C build/fetched apt-get download -qq prometheus
  dpkg-deb --fsys-tarfile build/fetched/*.deb | tar -x -C build --strip-components=3 ./usr/bin/prometheus ./usr/bin/promtool
  rm -r build/fetched
}

# build PRESET [TARGET...]: configures and builds build/PRESET.
build() {
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$1" ${2:+--target "${@:2}"}
}
