// The tables behind the readable keystroke and modifier notation of the
// preference file ("Shift+Cmd+A").
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace cx {

// Restriction sets: a modifier row whose restriction shares a bit with the
// caller's set is invisible to the parser and the printer.
inline constexpr uint16_t MODIFIERS_NO_KEYSTROKES = 1;
inline constexpr uint16_t MODIFIERS_NO_CLICKS = 2;

inline constexpr std::string_view modifiers_separator = "+";

struct modifier_row {
  uint8_t bit;
  uint16_t restriction;
  std::string_view name;
};

// Also the printing order.
inline constexpr std::array<modifier_row, 6> modifiers_table = {{
    {0x01, 0, "Shift"},
    {0x08, 0, "Cmd"},
    {0x02, 0, "Ctrl"},
    {0x04, 0, "Option"},
    {0x10, MODIFIERS_NO_CLICKS, "CapsLock"},
    {0x80, MODIFIERS_NO_KEYSTROKES, "Hard"},
}};

// Indexed by virtual key code; codes without a name of their own are "#code".
// clang-format off: eight codes a row
inline constexpr std::array<std::string_view, 128> keystroke_strings = {
    "A",           "S",
    "D",           "F",
    "H",           "G",
    "Z",           "X",
    "C",           "V",
    "#10",         "B",
    "Q",           "W",
    "E",           "R",
    "Y",           "T",
    "1",           "2",
    "3",           "4",
    "6",           "5",
    "=",           "9",
    "7",           "-",
    "8",           "0",
    "]",           "O",
    "U",           "[",
    "I",           "P",
    "Return",      "L",
    "J",           "'",
    "K",           ";",
    "\\",          ",",
    "/",           "N",
    "M",           ".",
    "Tab",         "Space",
    "`",           "Delete",
    "#52",         "Esc",
    "#54",         "Command",
    "Shift",       "Caps Lock",
    "Option",      "Ctrl",
    "Right Shift", "Right Option",
    "Right Ctrl",  "#63",
    "#64",         "Num .",
    "#66",         "Num *",
    "#68",         "Num +",
    "#70",         "Clear",
    "#72",         "#73",
    "#74",         "Num /",
    "Enter",       "#77",
    "Num -",       "#79",
    "#80",         "Num =",
    "Num 0",       "Num 1",
    "Num 2",       "Num 3",
    "Num 4",       "Num 5",
    "Num 6",       "Num 7",
    "#90",         "Num 8",
    "Num 9",       "#93",
    "#94",         "#95",
    "F5",          "F6",
    "F7",          "F3",
    "F8",          "F9",
    "#102",        "F11",
    "#104",        "F13",
    "#106",        "F14",
    "#108",        "F10",
    "#110",        "F12",
    "#112",        "F15",
    "Ins",         "Home",
    "Page Up",     "Del",
    "F4",          "End",
    "F2",          "Page Down",
    "F1",          "Left Arrow",
    "Right Arrow", "Down Arrow",
    "Up Arrow",    "#127",
};
// clang-format on

// The notation's self-test texts.
inline constexpr std::array<std::string_view, 9> testmods_strings = {
    "No Mods Here",
    "Still No Mods+Here",
    "No Mods Here Because They're At The End+Shift+Ctrl",
    "Shift+whatever",
    "Option+Shift+Ctrl+another whatever",
    "Shift+Cmd+Ctrl",
    "Shift+Option+Ctrl+",
    "Shift+CapsLock+No Buttons Allowed",
    "Option+Hard+No Keyboard Allowed",
};

// The action a keystroke item performs; its ch12 is the key code.
inline constexpr int16_t kKeystrokeAct = 0x0200;

}  // namespace cx
