// The driver's live settings as readable text (corvex-driverctl state).
#pragma once

#include <string>

#include "refdriver/driver_state.h"

namespace cx::refdriver {

std::string describe_state(DriverState& state);

}  // namespace cx::refdriver
