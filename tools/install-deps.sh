#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the demo need; skips
# apt entirely when everything is already there.
set -euo pipefail

packages=(
  cmake ninja-build g++ clang pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev
  libplist-dev libglib2.0-dev libglib2.0-bin
  libxcb1-dev libxcb-ewmh-dev libxcb-xtest0-dev libgtk-3-dev gettext
  libevdev-dev libudev-dev
  qemu-system-x86 linux-image-amd64 busybox-static cpio udev
  dbus-daemon xvfb shared-mime-info openbox xterm imagemagick
  x11-utils
  at-spi2-core
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get update -qq
  "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
