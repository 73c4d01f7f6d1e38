// The numbered driver requests, and their names for the log.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace cx::refdriver {

namespace request {
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
}  // namespace request

inline constexpr std::array<std::string_view, request::count> kRequestNames = {
    "InitializeDriver",  "CXAccessData",           "CXAccessGlobalData",
    "AllocateSpace",     "DeallocateSpace",        "GetActionList",
    "GetActionListSize", "GetActionName",          "GetDataSize",
    "GetMenuActionList", "GetMenuActionListSize",  "GetMouseInfo",
    "SetActionList",     "SetActionName",          "SetMenuActionList",
    "CXAccessAppData",   "CXDoSwitchApp",          "CurrentEditApp",
    "GetAppName",        "QueryEditApp",           "DeleteAppName",
    "InControlPanel",    "GetCacheSize",           "AccessCacheData",
    "GetSingleResponse", "GetFullResponse",        "GetResponses",
    "SetResponseData",   "GetNextBackgroundEvent", "ClearAllMenuLists",
    "CheckMenuSize",     "GetMenuNames",           "ExecuteMenuItems",
    "SetAbsoluteMouse",
};

// Data-access modes of CXAccessGlobalData, CXAccessAppData and AccessCacheData.
inline constexpr uint8_t kModeWrite = 1;
inline constexpr uint8_t kModeRead = 2;

}  // namespace cx::refdriver
