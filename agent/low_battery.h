// Low-battery alerts for wireless devices, on driver events 10 and 11.
#pragma once

namespace cx {

int setLowBatPrevAlertTimes();
int handle_lo_bat_alert();

}  // namespace cx
