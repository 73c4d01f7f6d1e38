// Reading the suite's parameters and filling replies, as the handlers need.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/apple_events.h"

namespace cx {

// The Memory Manager's "out of memory".
inline constexpr platform::OSErr memFullErr = -108;

// A one-byte `TEXT` parameter (button, modifiers, direction, data type):
// its first byte, as a one-byte buffer would take it. -1701 missing, -1700
// not coercible.
platform::OSErr get_byte_param(const platform::AppleEvent& event, platform::OSType keyword,
                               uint8_t& out);

// Up to `max` bytes of the parameter taken as raw bytes into `out` (the rest
// untouched); the parameter's full size goes to *size when asked.
platform::OSErr get_bytes_param(const platform::AppleEvent& event, platform::OSType keyword,
                                uint8_t* out, size_t max, size_t* size = nullptr);

// Adds `desc` to the reply; -1701 when the sender asked for no reply.
platform::OSErr put_reply_param(platform::AppleEvent& reply, platform::OSType keyword,
                                platform::AEDesc desc);
platform::OSErr put_reply_shor(platform::AppleEvent& reply, int16_t value);
platform::OSErr put_reply_bytes(platform::AppleEvent& reply, platform::OSType keyword,
                                const uint8_t* bytes, size_t size);

}  // namespace cx
