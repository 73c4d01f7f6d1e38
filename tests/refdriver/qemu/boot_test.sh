#!/usr/bin/env bash
# Boots Debian's kernel under qemu (software emulation) with an initramfs
# holding the driver, corvexctl and a uinput-made mouse; corvexctl binds the
# mouse's fourth button to a keystroke, the mouse presses it, and the key
# must come out of the driver's virtual pointer.
#
#   boot_test.sh CORVEX-DRIVERD CORVEXCTL QEMU-MOUSE BUNDLE-DIR
#
# Exit 0 passed, 1 failed, 77 skipped (no qemu, kernel, busybox-static, cpio
# or udev).
# CX_QEMU_ROOT: where boot/ and lib/modules/ are (default /); CX_QEMU_KERNEL
# picks the kernel, CX_QEMU_ACCEL the accelerator (default tcg).
set -euo pipefail

skip() {
  echo "skipped: $*"
  exit 77
}
fail() {
  echo "FAIL: $*" >&2
  exit 1
}

[ $# -eq 4 ] || fail "usage: $0 CORVEX-DRIVERD CORVEXCTL QEMU-MOUSE BUNDLE-DIR"
daemon=$1 corvexctl=$2 mouse=$3 bundle=$4

command -v qemu-system-x86_64 >/dev/null || skip "no qemu-system-x86_64"
# A kernel package unpacked with dpkg-deb -x serves as well as an installed one.
base=${CX_QEMU_ROOT:-/}
shopt -s nullglob
kernels=("$base"/boot/vmlinuz-*)
kernel=${CX_QEMU_KERNEL:-$(printf '%s\n' "${kernels[@]}" | sort -V | tail -n 1)}
[[ -n $kernel && -r $kernel ]] || skip "no readable kernel in $base/boot"
version=${kernel##*/vmlinuz-}
[ -d "$base/lib/modules/$version" ] || skip "no modules for kernel $version in $base/lib/modules"
[ -f "$base/lib/modules/$version/modules.dep" ] || depmod -b "$base" "$version"
busybox=$(command -v busybox) || skip "no busybox"
ldd "$busybox" >/dev/null 2>&1 && skip "busybox is not static (install busybox-static)"
command -v cpio >/dev/null || skip "no cpio"
# The driver hears of a mouse plugged in after it started from udev.
udevadm=$(command -v udevadm) || skip "no udevadm (install udev)"
rules=$(dirname "$0")/../../../resources/desktop/71-corvex.rules

# The key of the bound keystroke as the virtual pointer must send it.
readonly BUTTON=BTN_SIDE button_code=0x113 key_name=W key_code=17

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$work/root
mkdir -p "$root"/{bin,dev,proc,sys,run,tmp,root,modules}

cp "$busybox" "$root/bin/busybox"
for applet in sh mount insmod sleep cat grep kill poweroff mkdir ls tail; do
  ln -s busybox "$root/bin/$applet"
done

# A program and every shared library ldd names, at their own paths.
add_program() {
  cp "$1" "$root/bin/"
  ldd "$1" | grep -o '/[^ ]*' | while read -r lib; do
    mkdir -p "$root$(dirname "$lib")"
    cp -L "$lib" "$root$lib"
  done
}
add_program "$daemon"
add_program "$corvexctl"
add_program "$mouse"
add_program "$udevadm"
ln -s udevadm "$root/bin/systemd-udevd"
mkdir -p "$root/usr/lib/udev/rules.d"
cp /usr/lib/udev/rules.d/60-input-id.rules "$rules" "$root/usr/lib/udev/rules.d/"
mkdir -p "$root/lib/corvex"
cp -r "$bundle/." "$root/lib/corvex/"

# The modules and what they depend on, in load order, uncompressed.
: >"$root/modules/order"
for module in evdev uinput; do
  modprobe -d "$base" -S "$version" --show-depends "$module" | while read -r verb path _; do
    [ "$verb" = insmod ] || continue
    name=$(basename "$path")
    case $name in
      *.xz) name=${name%.xz} && xz -dc "$path" >"$root/modules/$name" ;;
      *.zst) name=${name%.zst} && zstd -qdc "$path" >"$root/modules/$name" ;;
      *) cp "$path" "$root/modules/$name" ;;
    esac
    grep -qx "$name" "$root/modules/order" || echo "$name" >>"$root/modules/order"
  done
done

cat >"$root/init" <<INIT
#!/bin/sh
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
mount -t tmpfs run /run
mount -t tmpfs tmp /tmp
mkdir -p /dev/shm && mount -t tmpfs shm /dev/shm
while read -r m; do insmod /modules/\$m || echo "cx-boot: insmod \$m failed"; done </modules/order
systemd-udevd --daemon --resolve-names=never
export HOME=/root CORVEX_IOKIT_DIR=/run/corvex/iokit CORVEX_BUNDLE="/lib/corvex/Corvex Background"
mkdir -p /run/corvex
corvex-driverd --evdev >/tmp/driverd.log 2>&1 &
driver=\$!
n=0
while [ ! -S \$CORVEX_IOKIT_DIR/com_velcorra_corvex_iokit_VelcorraMouseDriver ] && [ \$n -lt 100 ]; do sleep 0.1; n=\$((n + 1)); done
corvexctl bind B4Button Keystrokes $key_name </dev/null
$(basename "$mouse") /tmp/driverd.log $button_code $key_code
echo "cx-boot: result \$?"
kill \$driver
wait \$driver
echo "cx-boot: driver log"
cat /tmp/driverd.log
poweroff -f
INIT
chmod 755 "$root/init"
(cd "$root" && find . | cpio -o -H newc --quiet | gzip -1) >"$work/initrd.gz"

start=$(date +%s)
console=$work/console.log
timeout 600 qemu-system-x86_64 -accel "${CX_QEMU_ACCEL:-tcg}" -m 768 -smp 1 -nographic -nic none \
  -no-reboot -kernel "$kernel" -initrd "$work/initrd.gz" \
  -append "console=ttyS0 panic=-1 quiet loglevel=3" </dev/null >"$console" 2>&1 || true
tr -d '\r' <"$console"
echo "boot test: $(($(date +%s) - start)) s in qemu (kernel $version, $BUTTON -> key $key_name)"

result=$(tr -d '\r' <"$console" | sed -n 's/^cx-boot: result //p')
[ "$result" = 0 ] || fail "no key on the virtual pointer (result '${result:-none}')"
