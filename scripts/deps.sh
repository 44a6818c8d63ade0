#!/usr/bin/env bash
# Installs what building and testing need, from Debian's archive, when missing.
set -euo pipefail
pkgs=(build-essential cmake ninja-build ccache pkg-config python3
      qtbase5-dev qt6-base-dev libthrift-dev thrift-compiler libboost-dev)
pkgs+=("$@")
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
