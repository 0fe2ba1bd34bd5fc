# What the scripts beside this file share; they source it. It leaves the working directory at the repository root.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# Installs those of scripts/packages that this machine lacks, and does nothing at all when it has them.
need_packages() {
  local package missing=() as_root=()
  while read -r package; do
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
  done < scripts/packages
  [ ${#missing[@]} -gt 0 ] || return 0
  echo "Installing: ${missing[*]}"
  [ "$(id -u)" = 0 ] || as_root=(sudo)
  local install=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive
                 apt-get install -y -qq --no-install-recommends "${missing[@]}")
  # A machine that never fetched the package lists, or has old ones, fails here once.
  "${install[@]}" >/dev/null 2>&1 || { "${as_root[@]}" apt-get update -qq && "${install[@]}" >/dev/null; }
}

# build PRESET [TARGET...]: configures and builds build/PRESET.
build() {
  need_packages
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$1" ${2:+--target "${@:2}"}
}
