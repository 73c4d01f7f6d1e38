// The constant tables of the response encoding: flag names, click kinds,
// the standard responses and the test bookmarks.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "model/act_item.h"
#include "model/action_codes.h"
#include "model/builtin_actlists.h"

namespace cx {

// The flags word is saved as one of these exact values, not as bits.
struct respflag_row {
  int16_t value;
  std::string_view name;
};
inline constexpr std::array<respflag_row, 7> respflag_table = {{
    {0x0000, "None"},
    {0x0001, "Default"},
    {static_cast<int16_t>(0x8006), "IsPreset"},
    {0x0002, "Conditional"},
    {0x0004, "Global"},
    {0x1000, "StartPan"},
    {static_cast<int16_t>(0x8000), "ReprogramURL"},
}};

// Which button a "MoreClicks" response imitates.
struct moreclicks_row {
  uint16_t press;
  uint16_t release;
  uint16_t ch12;
  std::string_view name;
};
inline constexpr std::array<moreclicks_row, 5> moreclicks_table = {{
    {0x0001, 0x0002, 0, "Click"},
    {0x0004, 0x0008, 0, "RightClick"},
    {0x0010, 0x0020, 0, "MiddleClick"},
    {0x0040, 0x0080, 4, "Button4Click"},
    {0x0040, 0x0080, 5, "Button5Click"},
}};

// What check_response compares besides the action code.
namespace compare_mask {
inline constexpr uint8_t mods = 1;
inline constexpr uint8_t act_seq = 2;
inline constexpr uint8_t ch12 = 4;
inline constexpr uint8_t extra_info = 8;
}  // namespace compare_mask

struct stdresp_row {
  uint16_t count;
  const act_item* list;
  uint8_t mask;
  std::string_view name;
};

// Searched in order both ways: by exact name when reading, by shape when
// writing (so a shape matching two rows takes the earlier name).
inline constexpr std::array<stdresp_row, 11> stdresp_table = {{
    {click_actlist.size(), click_actlist.data(), 3, "Click"},
    {rclick_actlist.size(), rclick_actlist.data(), 3, "RightClick"},
    {dclick_actlist.size(), dclick_actlist.data(), 3, "DoubleClick"},
    {drag_actlist.size(), drag_actlist.data(), 3, "Drag"},
    {app_menu_actlist.size(), app_menu_actlist.data(), 4, "ApplicationMenu"},
    {mouse_scroll_actlist.size(), mouse_scroll_actlist.data(), 6, "MouseScroll"},
    {scroll_up_actlist.size(), scroll_up_actlist.data(), 6, "ScrollUp"},
    {scroll_down_actlist.size(), scroll_down_actlist.data(), 6, "ScrollDown"},
    {home_page_actlist.size(), home_page_actlist.data(), 2, "HomePage"},
    {toggle_hscroll_actlist.size(), toggle_hscroll_actlist.data(), 6, "ToggleHorzScroll"},
    {0, nullptr, 0, "DoNothing"},
}};

// Sample Launch URL responses: labels and their addresses, in parallel.
inline constexpr std::array<std::string_view, 10> test_url_names = {
    "Google",         "Velcorra", "BBC News", "DVD File",     "The Digital Bits",
    "Apple Computer", "CNet",     "Slashdot", "Bug Database", "Dilbert",
};
inline constexpr std::array<std::string_view, 10> test_urls = {
    "http://www.google.com/",  "http://www.velcorra.com/",       "http://news.bbc.co.uk/",
    "http://www.dvdfile.com/", "http://www.thedigitalbits.com/", "http://www.apple.com/",
    "http://www.cnet.com/",    "http://slashdot.org/",           "http://bugs.velcorra.com/",
    "http://www.dilbert.com/",
};

}  // namespace cx
