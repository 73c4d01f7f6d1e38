// Where the user's preferences live.
#pragma once

namespace cx {

inline constexpr char kPrefDomain[] = "com.velcorra.corvex";
// The domain's file as the backup and the messages name it.
inline constexpr char kPrefFileName[] = "com.Velcorra.Corvex.plist";
inline constexpr char kPrefBackupName[] = "~com.Velcorra.Corvex.plist";
inline constexpr char kDefaultPrefFileName[] = "Corvex_Default.plist";

}  // namespace cx
