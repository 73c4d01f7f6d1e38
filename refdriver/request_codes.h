// The numbered driver requests, and their names for the log.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "driver/request_codes.h"

namespace cx::refdriver {

namespace request = cx::request_code;

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
