#!/usr/bin/env bash
# The main job: builds the package, starts the reference driver in a private
# service folder, and lets the agent's driver link, response blocks,
# diagnostic log and property-list dumper work against it, with the driver's
# own view at the end.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh
cmake --preset dev >/dev/null
cmake --build --preset dev -j "$(nproc)" --target corvex-driverd corvex-driverctl corvex-showcase

bin=build/dev
work=$(mktemp -d)
export CORVEX_IOKIT_DIR=$work/iokit CORVEX_SHARED_DIR=$work/shared
export XDG_CONFIG_HOME=$work/config CORVEX_MACHINE_ID=demo
mkdir -p "$CORVEX_SHARED_DIR" "$XDG_CONFIG_HOME/corvex/Preferences/ByHost"

"$bin/refdriver/corvex-driverd" >"$work/driverd.log" 2>&1 &
driverd=$!
trap 'kill $driverd 2>/dev/null || true; wait $driverd 2>/dev/null || true; rm -rf "$work"' EXIT
for _ in $(seq 50); do
  [ -S "$CORVEX_IOKIT_DIR/com_velcorra_corvex_iokit_VelcorraMouseDriver" ] && break
  sleep 0.1
done

ctl="$bin/tools/driverctl/corvex-driverctl"
show="$bin/tools/showcase/corvex-showcase"
diags=$XDG_CONFIG_HOME/corvex/Preferences/ByHost/com.velcorra.corvex.background.diags.demo.plist
cat >"$diags" <<'PLIST'
<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>Displevel</key>
	<integer>262143</integer>
	<key>Append</key>
	<true/>
</dict>
</plist>
PLIST

echo "== The diagnostic settings, as the property-list dumper prints them"
"$show" dump "$diags" 2>&1

echo
echo "== Claim the driver and bind button 3 to a URL, button 4 to a text"
"$show" setup "https://www.example.org/corvex" "Kind regards," 2>&1

echo
echo "== The user presses buttons 3 and 4 in TextEdit, then a chord"
"$ctl" front TextEdit
"$ctl" press 3
"$ctl" press 4
"$ctl" chord

echo
echo "== The agent's side takes the driver's queued events"
"$show" events

echo
echo "== The diagnostic log ($CORVEX_SHARED_DIR/CXBkgnd_Diags.txt; lines end in CR LF)"
tr -d '\r' <"$CORVEX_SHARED_DIR/CXBkgnd_Diags.txt"

echo
echo "== The driver's view"
"$ctl" state
echo
echo "== The driver's log"
cat "$work/driverd.log"
