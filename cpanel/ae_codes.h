// The four-character codes of the agent's own Apple-event suite: events it
// serves, events it sends the control panel, their keywords, and the
// signatures of the processes on either end.
#pragma once

#include "platform/apple_events.h"

namespace cx::ae_code {

using platform::fourcc;
using platform::OSType;

inline constexpr OSType kSuite = fourcc("cxvx");

// Served by the agent.
inline constexpr OSType kMenuExtra = fourcc("mnex");
inline constexpr OSType kWritePrefs = fourcc("wprf");
inline constexpr OSType kRestoreDefaultPrefs = fourcc("rdpf");
inline constexpr OSType kGetBackgroundAppActive = fourcc("gbac");
inline constexpr OSType kGetMouseInfo = fourcc("minf");

// Sent to the control panel.
inline constexpr OSType kUpdateMice = fourcc("UPDt");
inline constexpr OSType kChord = fourcc("cord");
inline constexpr OSType kBackgroundActivate = fourcc("bact");
inline constexpr OSType kBackgroundDeactivate = fourcc("bdac");

// Parameter keywords.
inline constexpr OSType kData = fourcc("data");
inline constexpr OSType kButton = fourcc("btni");
inline constexpr OSType kModifiers = fourcc("modi");
inline constexpr OSType kMenuIndex = fourcc("mnui");
inline constexpr OSType kDataIndex = fourcc("indx");
inline constexpr OSType kDirection = fourcc("ddir");
inline constexpr OSType kDataType = fourcc("dtyp");
inline constexpr OSType kActionList = fourcc("actl");
inline constexpr OSType kActionName = fourcc("acti");
inline constexpr OSType kShortName = fourcc("anms");
inline constexpr OSType kLongName = fourcc("lnms");
inline constexpr OSType kFileAlias = fourcc("faka");
inline constexpr OSType kMouseInfo = fourcc("mous");

inline constexpr OSType typeAlias = fourcc("alis");

// Process signatures.
inline constexpr OSType kControlPanelApp = fourcc("VCXT");
inline constexpr OSType kSystemPreferences = fourcc("sprf");
inline constexpr OSType kBackgroundApp = fourcc("VCVX");

}  // namespace cx::ae_code
