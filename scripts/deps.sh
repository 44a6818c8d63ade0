#!/usr/bin/env bash
# Installs what building and testing need, from Debian's archive, when missing.
# Usage: scripts/deps.sh [--main] [PACKAGE...]
#   --main: only what the main job needs (the library, the emulator, lumoctl
#   and the demo); without it, also what the rest of the build and the suite need.
set -euo pipefail
# lld links the executables in a fifth of the default linker's time.
pkgs=(build-essential cmake ninja-build ccache pkg-config python3 lld
      qtbase5-dev libthrift-dev thrift-compiler libboost-dev)
if [ "${1:-}" = --main ]; then
  shift
else
  # The API reference (the docs target), the check of the manual pages, and
  # the Wireshark dissector's test. (The Qt 6 flavour's qt6-base-dev comes with
  # its presets: scripts/test.sh asks for it.)
  pkgs+=(doxygen man-db tshark)
  # Text in the inspector's windows on the offscreen platform (its tests and screenshots).
  pkgs+=(fonts-dejavu-core)
fi
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
  # wireshark-common asks whether non-root users may capture; answer no in advance.
  echo "wireshark-common wireshark-common/install-setuid boolean false" | $SUDO debconf-set-selections
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
