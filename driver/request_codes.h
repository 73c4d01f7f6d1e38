// The driver's request codes: the first word of every request block.
#pragma once

#include <cstdint>

namespace cx::request_code {

inline constexpr uint32_t InitializeDriver = 0;
inline constexpr uint32_t CXAccessData = 1;
inline constexpr uint32_t CXAccessGlobalData = 2;
inline constexpr uint32_t AllocateSpace = 3;
inline constexpr uint32_t DeallocateSpace = 4;
inline constexpr uint32_t GetActionList = 5;
inline constexpr uint32_t GetActionListSize = 6;
inline constexpr uint32_t GetActionName = 7;
inline constexpr uint32_t GetDataSize = 8;
inline constexpr uint32_t GetMenuActionList = 9;
inline constexpr uint32_t GetMenuActionListSize = 10;
inline constexpr uint32_t GetMouseInfo = 11;
inline constexpr uint32_t SetActionList = 12;
inline constexpr uint32_t SetActionName = 13;
inline constexpr uint32_t SetMenuActionList = 14;
inline constexpr uint32_t CXAccessAppData = 15;
inline constexpr uint32_t CXDoSwitchApp = 16;
inline constexpr uint32_t CurrentEditApp = 17;
inline constexpr uint32_t GetAppName = 18;
inline constexpr uint32_t QueryEditApp = 19;
inline constexpr uint32_t DeleteAppName = 20;
inline constexpr uint32_t InControlPanel = 21;
inline constexpr uint32_t GetCacheSize = 22;
inline constexpr uint32_t AccessCacheData = 23;
inline constexpr uint32_t GetSingleResponse = 24;
inline constexpr uint32_t GetFullResponse = 25;
inline constexpr uint32_t GetResponses = 26;
inline constexpr uint32_t SetResponseData = 27;
inline constexpr uint32_t GetNextBackgroundEvent = 28;
inline constexpr uint32_t ClearAllMenuLists = 29;
inline constexpr uint32_t CheckMenuSize = 30;
inline constexpr uint32_t GetMenuNames = 31;
inline constexpr uint32_t ExecuteMenuItems = 32;
inline constexpr uint32_t SetAbsoluteMouse = 33;

inline constexpr uint32_t count = 34;

}  // namespace cx::request_code
