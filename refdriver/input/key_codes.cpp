#include "refdriver/input/key_codes.h"

#include <linux/input-event-codes.h>

#include <array>

namespace cx::refdriver {
namespace {

// Indexed by the driver's key code (the keyboard's virtual key code).
// Codes without a Linux key (the keypad's unlabelled ones, language keys)
// are 0 and type nothing.
constexpr std::array<uint16_t, 128> kKeys = {
    KEY_A,
    KEY_S,
    KEY_D,
    KEY_F,
    KEY_H,
    KEY_G,
    KEY_Z,
    KEY_X,  // 0
    KEY_C,
    KEY_V,
    KEY_102ND,
    KEY_B,
    KEY_Q,
    KEY_W,
    KEY_E,
    KEY_R,  // 8
    KEY_Y,
    KEY_T,
    KEY_1,
    KEY_2,
    KEY_3,
    KEY_4,
    KEY_6,
    KEY_5,  // 16
    KEY_EQUAL,
    KEY_9,
    KEY_7,
    KEY_MINUS,
    KEY_8,
    KEY_0,
    KEY_RIGHTBRACE,
    KEY_O,  // 24
    KEY_U,
    KEY_LEFTBRACE,
    KEY_I,
    KEY_P,
    KEY_ENTER,
    KEY_L,
    KEY_J,
    KEY_APOSTROPHE,  // 32
    KEY_K,
    KEY_SEMICOLON,
    KEY_BACKSLASH,
    KEY_COMMA,
    KEY_SLASH,
    KEY_N,
    KEY_M,
    KEY_DOT,  // 40
    KEY_TAB,
    KEY_SPACE,
    KEY_GRAVE,
    KEY_BACKSPACE,
    0,
    KEY_ESC,
    KEY_RIGHTMETA,
    KEY_LEFTMETA,  // 48
    KEY_LEFTSHIFT,
    KEY_CAPSLOCK,
    KEY_LEFTALT,
    KEY_LEFTCTRL,
    KEY_RIGHTSHIFT,
    KEY_RIGHTALT,
    KEY_RIGHTCTRL,
    0,  // 56
    KEY_F17,
    KEY_KPDOT,
    0,
    KEY_KPASTERISK,
    0,
    KEY_KPPLUS,
    0,
    KEY_NUMLOCK,  // 64
    KEY_VOLUMEUP,
    KEY_VOLUMEDOWN,
    KEY_MUTE,
    KEY_KPSLASH,
    KEY_KPENTER,
    0,
    KEY_KPMINUS,
    KEY_F18,  // 72
    KEY_F19,
    KEY_KPEQUAL,
    KEY_KP0,
    KEY_KP1,
    KEY_KP2,
    KEY_KP3,
    KEY_KP4,
    KEY_KP5,  // 80
    KEY_KP6,
    KEY_KP7,
    KEY_F20,
    KEY_KP8,
    KEY_KP9,
    0,
    0,
    0,  // 88
    KEY_F5,
    KEY_F6,
    KEY_F7,
    KEY_F3,
    KEY_F8,
    KEY_F9,
    0,
    KEY_F11,  // 96
    0,
    KEY_F13,
    KEY_F16,
    KEY_F14,
    0,
    KEY_F10,
    KEY_COMPOSE,
    KEY_F12,  // 104
    0,
    KEY_F15,
    KEY_INSERT,
    KEY_HOME,
    KEY_PAGEUP,
    KEY_DELETE,
    KEY_F4,
    KEY_END,  // 112
    KEY_F2,
    KEY_PAGEDOWN,
    KEY_F1,
    KEY_LEFT,
    KEY_RIGHT,
    KEY_DOWN,
    KEY_UP,
    0,  // 120
};

// Caps Lock (0x10) is a lock, not a held modifier, and "Hard" (0x80) is
// no key: neither is pressed around a keystroke or click.
constexpr ModifierKey kModifiers[] = {
    {0x01, KEY_LEFTSHIFT},
    {0x08, KEY_LEFTMETA},
    {0x02, KEY_LEFTCTRL},
    {0x04, KEY_LEFTALT},
};

constexpr MouseButton kMouseButtons[] = {
    {BTN_LEFT, 0},  {BTN_RIGHT, 1},   {BTN_MIDDLE, 2}, {BTN_SIDE, 3},
    {BTN_EXTRA, 6}, {BTN_FORWARD, 7}, {BTN_BACK, 8},   {BTN_TASK, 9},
};

}  // namespace

uint16_t linux_key(uint16_t key_code) {
  return key_code < kKeys.size() ? kKeys[key_code] : 0;
}

std::span<const ModifierKey> modifier_keys() {
  return kModifiers;
}

std::span<const MouseButton> mouse_buttons() {
  return kMouseButtons;
}

}  // namespace cx::refdriver
