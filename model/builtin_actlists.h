// The action lists that the agent holds as constant data. Every link is
// null: these are packed arrays, passed with their size. Items are listed as
// (mods, ch12, act_seq, act, extra_info).
#pragma once

#include <array>

#include "model/act_item.h"
#include "model/action_codes.h"

namespace cx {

inline constexpr std::array click_actlist = {make_act_item(0, 0, 1, act_code::primary_press, 0),
                                             make_act_item(0, 0, 2, act_code::primary_release, 0)};
inline constexpr std::array rclick_actlist = {
    make_act_item(0, 0, 1, act_code::secondary_press, 0),
    make_act_item(0, 0, 2, act_code::secondary_release, 0)};
inline constexpr std::array drag_actlist = {make_act_item(0, 0, 1, act_code::primary_press, 0),
                                            make_act_item(0, 0, 8, act_code::primary_release, 0)};
inline constexpr std::array dclick_actlist = {make_act_item(0, 0, 1, act_code::primary_press, 0),
                                              make_act_item(0, 0, 1, act_code::primary_release, 0),
                                              make_act_item(0, 0, 1, act_code::primary_press, 0),
                                              make_act_item(0, 0, 2, act_code::primary_release, 0)};
inline constexpr std::array app_menu_actlist = {make_act_item(0, 1, 1, act_code::app_menu, 0)};
inline constexpr std::array home_page_actlist = {make_act_item(0, 0, 1, act_code::home_page, 0)};
inline constexpr std::array scroll_up_actlist = {
    make_act_item(0, scroll_code::up, 1, act_code::scroll, 0),
    make_act_item(0, scroll_code::up, 2, act_code::scroll, 0)};
inline constexpr std::array scroll_down_actlist = {
    make_act_item(0, scroll_code::down, 1, act_code::scroll, 0),
    make_act_item(0, scroll_code::down, 2, act_code::scroll, 0)};
inline constexpr std::array mouse_scroll_actlist = {
    make_act_item(0, scroll_code::mouse_scroll, 1, act_code::scroll, 0),
    make_act_item(0, scroll_code::mouse_scroll, 8, act_code::scroll, 0)};
inline constexpr std::array toggle_hscroll_actlist = {
    make_act_item(0, scroll_code::toggle_horizontal, 1, act_code::scroll, 0)};
// Templates: ch12 is filled with the dataspace index.
inline constexpr std::array launch_url_actlist = {make_act_item(0, 0, 2, act_code::launch_url, 0)};
inline constexpr std::array launch_file_actlist = {
    make_act_item(0, 0, 2, act_code::launch_file, 0)};
inline constexpr std::array paste_text_actlist = {make_act_item(0, 0, 2, act_code::paste_text, 0)};
// Template: ch12 is filled with the number of menu entries.
inline constexpr act_item menu_action = make_act_item(0, 0, 1, act_code::menu, 0);

}  // namespace cx
