// The D-Bus wire form of Apple events: bus names per signature, the
// Dispatch method's parameter array a(uuay), and D-Bus errors as send results.
#pragma once

#include <gio/gio.h>

#include <string>
#include <vector>

#include "platform/apple_events.h"

namespace cx::platform::dbus_ae {

inline constexpr char kObjectPath[] = "/com/velcorra/corvex/AppleEvents";
inline constexpr char kInterface[] = "com.velcorra.corvex.AppleEvents";
inline constexpr char kMethod[] = "Dispatch";
inline constexpr char kSignatureNamePrefix[] = "com.velcorra.corvex.sig.S";
inline constexpr char kIntrospection[] =
    "<node><interface name='com.velcorra.corvex.AppleEvents'>"
    "<method name='Dispatch'>"
    "<arg type='u' name='eventClass' direction='in'/>"
    "<arg type='u' name='eventID' direction='in'/>"
    "<arg type='a(uuay)' name='parameters' direction='in'/>"
    "<arg type='a(uuay)' name='reply' direction='out'/>"
    "</method></interface></node>";

// "com.velcorra.corvex.sig.S56435658" for `VCVX`.
std::string bus_name_for_signature(OSType signature);

// A new floating a(uuay) value holding `params` in order.
GVariant* parameters_to_variant(const std::vector<AppleEvent::Parameter>& params);
// Adds every (keyword, type, data) of an a(uuay) value to `event`. -50, with
// nothing copied, when the value holds more than kMaxAEParameters or more
// than kMaxAEDataSize bytes.
OSErr add_parameters_from_variant(GVariant* params, AppleEvent& event);

// The send result for a D-Bus or I/O error.
OSErr send_error_to_oserr(const GError* error);

// Milliseconds for an Apple-event time-out in ticks (or -1 / -2).
int timeout_to_msec(int32_t timeout);

}  // namespace cx::platform::dbus_ae
