// The system version as Gestalt answers 'sysv': BCD 0xMMmb, 0x1049 for
// 10.4.9. The agent behaves as on that release here.
#pragma once

#include <cstdint>

namespace cx::platform {

inline constexpr uint32_t kGestaltSystemVersion = 0x73797376;  // 'sysv'
inline constexpr int16_t kGestaltUndefSelectorErr = -5551;

// 0x1049, or the hexadecimal value of CORVEX_SYSTEM_VERSION ("0x1028" or
// "1028") when that parses completely and fits in 32 bits.
uint32_t system_version();

// Gestalt for the one selector the agent asks: 'sysv' stores the version and
// returns 0; any other selector returns gestaltUndefSelectorErr.
int16_t Gestalt(uint32_t selector, int32_t* response);

}  // namespace cx::platform
