// corvexctl show --plist: what a save would write now, without writing it.
#pragma once

namespace cx::corvexctl {

// Runs the preference write pass over the driver into a dictionary and
// prints it as the XML property list of the preference domain; the exit
// status.
int print_saved_plist();

}  // namespace cx::corvexctl
