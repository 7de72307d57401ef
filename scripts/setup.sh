#!/usr/bin/env bash
# Installs everything the project needs from Debian's packages. Safe to run again.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config clang-format
  libboost-dev libboost-log-dev libboost-thread-dev libboost-system-dev
  libpcre2-dev nlohmann-json3-dev libcurl4-openssl-dev libcpp-httplib-dev
  googletest libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev
  neovim emacs-nox elpa-eglot
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if ((${#missing[@]})); then
  sudo_cmd=()
  [[ $(id -u) -ne 0 ]] && sudo_cmd=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get update -q
  "${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
