#!/usr/bin/env bash
# The main job: builds the package and runs one short user session in a
# private sandbox: a session bus, an X display with no window manager, the
# reference driver and the agent. corvex-driverctl plays the hardware,
# corvex-desktopctl the window manager, corvexctl the control panel. At the
# end it shows what the control panel heard, the agent's diagnostic log and
# the driver's view. The user starts with a preference file that binds
# button 4 per application: Cmd+W in TextEdit, a pasted text elsewhere.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh
cmake --preset dev >/dev/null
cmake --build --preset dev -j "$(nproc)" --target corvex-background corvex-driverd \
  corvex-driverctl corvexctl corvex-desktopctl cx_resources cx-desktop-standins cx_gtk_peer

bin=build/dev
work=$(mktemp -d)
export CORVEX_IOKIT_DIR=$work/iokit CORVEX_SHARED_DIR=$work/shared
export XDG_CONFIG_HOME=$work/config CORVEX_MACHINE_ID=demo
export CORVEX_BUNDLE="$PWD/$bin/bundle/Corvex Background"
mkdir -p "$CORVEX_SHARED_DIR" "$XDG_CONFIG_HOME/corvex/Preferences/ByHost"
# The accessibility bus a GTK window starts keeps its socket here, away from other sessions'.
export XDG_RUNTIME_DIR=$work/runtime
mkdir -m 700 "$XDG_RUNTIME_DIR"
pids=()
trap 'kill "${pids[@]}" 2>/dev/null || true; wait 2>/dev/null || true; rm -rf "$work"' EXIT

# Reads the first line a background command writes to the given file.
first_line() {
  for _ in $(seq 100); do
    [ -s "$1" ] && { head -n1 "$1"; return; }
    sleep 0.05
  done
  echo "no answer in $1" >&2
  exit 1
}
wait_for() {  # FILE TEXT
  for _ in $(seq 100); do
    grep -q -- "$2" "$1" 2>/dev/null && return
    sleep 0.05
  done
  echo "'$2' did not appear in $1" >&2
  exit 1
}

dbus-daemon --session --nofork --print-address=1 >"$work/bus" &
pids+=($!)
DBUS_SESSION_BUS_ADDRESS=$(first_line "$work/bus")
export DBUS_SESSION_BUS_ADDRESS
Xvfb -displayfd 1 -nolisten tcp -noreset -screen 0 640x480x24 >"$work/display" 2>/dev/null &
pids+=($!)
export DISPLAY=:$(first_line "$work/display")
if [ -z "${openbox_started:-}" ]; then
  openbox --sm-disable >/dev/null 2>&1 &
  pids+=($!)
  openbox_started=1
fi

cat >"$XDG_CONFIG_HOME/corvex/Preferences/ByHost/com.velcorra.corvex.background.diags.demo.plist" <<'PLIST'
<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>Displevel</key>
	<integer>4456447</integer>
</dict>
</plist>
PLIST

prefs=$XDG_CONFIG_HOME/corvex/Preferences/com.velcorra.corvex.plist
cat >"$prefs" <<'PLIST'
<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>CXPrefData</key>
	<dict>
		<key>ApplicationSetData</key>
		<dict>
			<key>Default</key>
			<dict>
				<key>ApplicationName</key>
				<string>Default</string>
				<key>ButtonData</key>
				<dict>
					<key>ButtonID_6</key>
					<array>
						<dict>
							<key>ButtonLabel</key>
							<string>Edit</string>
							<key>ResponseFlags</key>
							<string>None</string>
							<key>Response</key>
							<dict>
								<key>MenuResponse</key>
								<array>
									<dict>
										<key>ButtonLabel</key>
										<string>Copy</string>
										<key>ResponseFlags</key>
										<string>None</string>
										<key>Response</key>
										<dict>
											<key>Keystrokes</key>
											<array>
												<string>Cmd+C</string>
											</array>
										</dict>
									</dict>
									<dict>
										<key>ButtonLabel</key>
										<string>-</string>
										<key>ResponseFlags</key>
										<string>None</string>
										<key>Response</key>
										<dict>
											<key>StandardResponse</key>
											<string>DoNothing</string>
										</dict>
									</dict>
									<dict>
										<key>ButtonLabel</key>
										<string>Paste</string>
										<key>ResponseFlags</key>
										<string>None</string>
										<key>Response</key>
										<dict>
											<key>Keystrokes</key>
											<array>
												<string>Cmd+V</string>
											</array>
										</dict>
									</dict>
								</array>
							</dict>
						</dict>
					</array>
					<key>ButtonID_7</key>
					<array>
						<dict>
							<key>ButtonLabel</key>
							<string>Applications</string>
							<key>ResponseFlags</key>
							<string>None</string>
							<key>Response</key>
							<dict>
								<key>StandardResponse</key>
								<string>ApplicationMenu</string>
							</dict>
						</dict>
					</array>
					<key>B4Button</key>
					<array>
						<dict>
							<key>ButtonLabel</key>
							<string>Sign</string>
							<key>ResponseFlags</key>
							<string>None</string>
							<key>Response</key>
							<dict>
								<key>PasteText</key>
								<string>Kind regards,</string>
							</dict>
						</dict>
					</array>
				</dict>
			</dict>
			<key>com.apple.TextEdit</key>
			<dict>
				<key>ApplicationName</key>
				<string>TextEdit</string>
				<key>ButtonData</key>
				<dict>
					<key>B4Button</key>
					<array>
						<dict>
							<key>ButtonLabel</key>
							<string>Close Window</string>
							<key>ResponseFlags</key>
							<string>None</string>
							<key>Response</key>
							<dict>
								<key>Keystrokes</key>
								<array>
									<string>Cmd+W</string>
								</array>
							</dict>
						</dict>
					</array>
				</dict>
			</dict>
		</dict>
		<key>PrefVersion</key>
		<string>4.0.0</string>
	</dict>
</dict>
</plist>
PLIST

# A stand-in browser and file opener, registered through the XDG MIME database
# as the desktop's default for web addresses and text files: the agent's
# launches reach it, never a real browser.
export XDG_DATA_HOME=$work/data
mkdir -p "$XDG_DATA_HOME/applications"
cat >"$work/opener.sh" <<SH
#!/bin/sh
echo "opened \$*" >>"$work/opened.txt"
SH
chmod +x "$work/opener.sh"
cat >"$XDG_DATA_HOME/applications/corvex-demo-opener.desktop" <<DESKTOP
[Desktop Entry]
Type=Application
Name=Demo opener
Exec=$work/opener.sh %u
MimeType=x-scheme-handler/https;text/plain;
DESKTOP
printf '[Default Applications]\nx-scheme-handler/https=corvex-demo-opener.desktop\ntext/plain=corvex-demo-opener.desktop\n' \
  >"$XDG_CONFIG_HOME/mimeapps.list"
echo "Meeting notes" >"$work/notes.txt"

ctl="$bin/tools/driverctl/corvex-driverctl"
cp="$bin/tools/corvexctl/corvexctl"
desk="$bin/tools/desktopctl/corvex-desktopctl"

"$bin/refdriver/corvex-driverd" >"$work/driverd.log" 2>&1 &
pids+=($!)
wait_for "$work/driverd.log" serving
"$cp" monitor --save >"$work/panel.log" 2>&1 &
pids+=($!)
wait_for "$work/panel.log" "monitoring as VCXT"

echo "== The agent starts, claims the driver for this session and becomes active"
"$bin/agent/corvex-background" >"$work/agent.out" 2>&1 &
agent=$!
pids+=($agent)
for _ in $(seq 100); do
  [ "$("$cp" status 2>/dev/null)" = active ] && break
  sleep 0.05
done
echo "corvexctl status: $("$cp" status)"

echo
echo "== The user's preference file reached the driver when the agent became active"
"$ctl" state

echo
echo "== Button 4 (driver button 3) in TextEdit, then in Safari"
echo "   (the driver's log at the end shows Cmd+W typed, then a text queued for pasting)"
sleep 1  # the agent looks at the front application every 0.2 s after its first second
for app in TextEdit Safari; do
  "$desk" front "$app"
  sleep 0.5
  "$ctl" press 3
done

echo
echo "== The control panel binds button 4 to a URL, the chord button to a text and button 8 to a"
echo "   file, and saves"
"$cp" bind B4Button LaunchURL "https://www.example.org/corvex"
"$cp" bind ChordButton PasteText "Kind regards,"
"$cp" bind ButtonID_8 LaunchFile "$work/notes.txt"
"$cp" save
echo "The saved preference file:"
cat "$prefs"

echo
echo "== In Safari, which has no set of its own, buttons 4 and 8 open the URL and the file"
echo "   through the desktop's default handlers (here a stand-in that writes them down)"
"$desk" front Safari
sleep 0.5
"$ctl" press 3
"$ctl" press 8
wait_for "$work/opened.txt" notes.txt
sed 's/^/   the stand-in opener: /' "$work/opened.txt"

echo
echo "== Back in TextEdit the user presses both buttons, then a chord; a mouse is plugged in"
"$desk" front TextEdit
sleep 0.5
"$ctl" press 3
"$ctl" press 4
"$ctl" chord
"$ctl" devices-changed
"$ctl" hscroll
sleep 0.5

echo
echo "== The control panel asks for the mice, hides the menu extra and saves"
"$cp" mouse-info
"$cp" menu-extra hide
"$cp" save

echo
echo "== Popup menus. The chord button's press in TextEdit above opened the application menu;"
echo "   the user closes it with Escape. Two terminals open, Notes and Xterm. Button 6 pops up the"
echo "   user's menu at the pointer (Copy, a separator, Paste); the user chooses Copy and the"
echo "   driver types Cmd+C. Button 7 pops up the application menu, Xterm checked (in front, with"
echo "   the icon theme's xterm icon); the user chooses Notes, which comes to the front"
screenshots=${screenshots:-$PWD/$bin/demo}
mkdir -p "$screenshots"
"$desk" keys Escape
for app in Notes Xterm; do
  xterm -class "$app" -title "$app" -geometry 30x6 -e sleep 600 2>/dev/null &
  pids+=($!)
  sleep 1
done
"$ctl" press 6
sleep 1
import -window root "$screenshots/popup-menu.png"
"$desk" keys Down Return
"$ctl" press 7
sleep 1
import -window root "$screenshots/application-menu.png"
"$desk" keys Down Return
sleep 0.5
"$ctl" state | grep -i "^front" || true

echo
echo "== Capturing the browser's page. A stand-in browser shows \"Corvex Trackball Guide\" with its"
echo "   address in a text field and describes itself on the accessibility bus. The capture (the"
echo "   driver's event 3 for button 2) takes the page's title from the window and its address"
echo "   from the accessibility tree: a notice names the page (a screenshot is saved) until the"
echo "   user's next press, and button 2's menu in the driver and the saved file hold the page"
until_true() {  # COMMAND...
  for _ in $(seq 100); do
    "$@" >/dev/null 2>&1 && return
    sleep 0.05
  done
  echo "timed out waiting for: $*" >&2
  exit 1
}
a11y_bus() {
  gdbus call --session -d org.freedesktop.DBus -o /org/freedesktop/DBus \
    -m org.freedesktop.DBus.NameHasOwner org.a11y.Bus | grep -q true
}
if ! a11y_bus; then
  /usr/libexec/at-spi-bus-launcher --launch-immediately >"$work/a11y.log" 2>&1 &
  pids+=($!)
  until_true a11y_bus
fi
"$bin/tests/platform/cx_gtk_peer" browser "Corvex Trackball Guide — Mozilla Firefox" \
  https://www.example.org/corvex/guide 2>/dev/null &
browser=$!
pids+=($browser)
until_true sh -c "'$ctl' state | grep -qi 'front application: cx_gtk_peer'"
"$ctl" event 3 0013 >/dev/null
until_true sh -c "xwininfo -root -tree | grep -q '\"Corvex Background\"'"
sleep 0.3  # the notice's first drawing
import -window root "$screenshots/capture-notice.png"
"$ctl" press 9 >/dev/null
wait_for "$prefs" "example.org/corvex/guide"
echo "The driver's menu entry for button 2:"
"$ctl" state | grep -i "guide"
echo "The saved preference file:"
grep -B7 -A2 "example.org/corvex/guide" "$prefs"
kill "$browser"

echo
echo "== Under a window manager an xterm comes to the front; the chord button pastes into it"
echo "   (the agent owns the clipboard and types Ctrl+V: \"Kind regards,\" appears after the"
echo "   xterm's prompt, and stays on the clipboard; a screenshot of it is saved)"
xterm -title Corvex -geometry 48x6+40+40 -xrm 'XTerm*VT100.translations: #override Ctrl<Key>v: insert-selection(CLIPBOARD)' \
  -e sh -c "stty -icanon; printf 'Pasted here: '; cat >'$work/pasted.txt'" 2>/dev/null &
paste_term=$!
pids+=($paste_term)
for _ in $(seq 100); do
  "$ctl" state | grep -q "front application: XTerm" && break
  sleep 0.05
done
"$ctl" press 4
wait_for "$work/pasted.txt" "Kind regards,"
echo "The xterm received: $(cat "$work/pasted.txt")"
sleep 0.3  # the echo on the xterm's screen
paste_shot=$PWD/$bin/demo/pasted-text.png
mkdir -p "$(dirname "$paste_shot")"
import -window root "$paste_shot"
kill "$paste_term"

echo
echo "== Real mice: a second corvex-driverd with --evdev takes the machine's mice"
echo "   (where /dev/uinput exists each mouse is grabbed and acts through the \"Corvex Virtual"
echo "   Pointer\"; elsewhere the daemon says why it cannot and exits 1)"
evdev_dir=$(mktemp -d)
CORVEX_IOKIT_DIR=$evdev_dir timeout 3 "$bin/refdriver/corvex-driverd" --evdev 2>&1 \
  | grep -E "evdev:|uinput|serving" || true
rm -rf "$evdev_dir"

echo
echo "== Low battery and a session switch, in a second session of its own where stand-ins"
echo "   play systemd-logind and the desktop's notification server"
(
  s=$work/second
  mkdir -p "$s/shared" "$s/config/corvex/Preferences"
  cp -r "$XDG_CONFIG_HOME/corvex/Preferences/ByHost" "$s/config/corvex/Preferences/"
  export CORVEX_IOKIT_DIR=$s/iokit CORVEX_SHARED_DIR=$s/shared XDG_CONFIG_HOME=$s/config
  export CORVEX_LOCAL_PREFERENCES=$s/local XDG_SESSION_ID=second
  unset DISPLAY
  spids=()
  trap 'kill "${spids[@]}" 2>/dev/null || true; wait 2>/dev/null || true' EXIT
  dbus-daemon --session --nofork --print-address=1 >"$s/bus" 2>"$s/bus.err" &
  spids+=($!)
  DBUS_SESSION_BUS_ADDRESS=$(first_line "$s/bus")
  export DBUS_SESSION_BUS_ADDRESS
  # The driver keeps to its uid rule; logind is there for the agent.
  "$bin/refdriver/corvex-driverd" >"$s/driverd.log" 2>&1 &
  spids+=($!)
  wait_for "$s/driverd.log" serving
  "$bin/tests/support/cx-desktop-standins" second "$(id -u)" >"$s/desktop.log" 2>"$s/desktop.err" &
  desktop=$!
  spids+=($desktop)
  DBUS_SYSTEM_BUS_ADDRESS=$(first_line "$s/desktop.log")
  export DBUS_SYSTEM_BUS_ADDRESS
  "$cp" monitor --save >"$s/panel.log" 2>&1 &
  spids+=($!)
  wait_for "$s/panel.log" "monitoring as VCXT"
  "$bin/agent/corvex-background" >"$s/agent.out" 2>&1 &
  spids+=($!)
  wait_for "$s/panel.log" bact
  echo "corvexctl status: $("$cp" status)"

  echo "-- The wireless mouse (UniqueID 31) runs low; the user sees this notification:"
  "$ctl" low-battery 31 >/dev/null
  wait_for "$s/desktop.log" "notification from"
  sed -n '/notification from/,$p' "$s/desktop.log"

  echo "-- The session leaves the console: the agent asks the control panel whether to save"
  echo "   (bdac; this panel answers 1), writes the preference file and lets the driver go"
  kill -USR1 "$desktop"
  wait_for "$s/panel.log" bdac
  wait_for "$s/shared/CXBkgnd_Diags.txt" "writing prefs"
  echo "corvexctl status: $("$cp" status); driver: $("$ctl" state | head -n1)"
  echo "-- The driver hands the console to user 4242: this agent, off the console, stays out"
  "$ctl" console-switch 4242 >/dev/null
  echo "-- The session comes back: the agent claims the driver and reloads its settings"
  kill -USR2 "$desktop"
  for _ in $(seq 100); do
    [ "$("$cp" status)" = active ] && break
    sleep 0.05
  done
  echo "-- The driver hands the console to this user: asked to announce itself (code 15), the"
  echo "   agent claims the driver again, which confirms it (code 14)"
  "$ctl" console-switch "$(id -u)" >/dev/null
  wait_for "$s/shared/CXBkgnd_Diags.txt" "action=15"
  echo "corvexctl status: $("$cp" status); driver: $("$ctl" state | head -n1)"
  echo "The control panel heard:"
  cat "$s/panel.log"
  echo "The agent's log of the switch (the device table went to the driver once):"
  tr -d '\r' <"$s/shared/CXBkgnd_Diags.txt" | grep -E "Session|UID|writing prefs|Activating|Device Descriptors"
)

echo
echo "== The control panel quits the agent"
"$cp" quit
wait "$agent" && echo "corvex-background exited with status 0"
if [ -s "$work/agent.out" ]; then
  echo "The agent's standard error:"
  cat "$work/agent.out"
fi

echo
echo "== What the control panel heard"
cat "$work/panel.log"
echo
echo "== The agent's diagnostic log ($CORVEX_SHARED_DIR/CXBkgnd_Diags.txt; lines end in CR LF)"
tr -d '\r' <"$CORVEX_SHARED_DIR/CXBkgnd_Diags.txt"
echo
echo "== The driver's view"
"$ctl" state
echo
echo "== The driver's log"
cat "$work/driverd.log"
echo
echo "== Screenshots"
echo "Pasted text: $paste_shot"
echo "Popup menus: $screenshots/popup-menu.png $screenshots/application-menu.png"
echo "Capture notice: $screenshots/capture-notice.png"
