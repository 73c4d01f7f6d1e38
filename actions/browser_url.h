// Asking the front browser which page it shows: one route per browser family
// over Apple events, and on the Linux desktop the window title with the
// address from the accessibility tree. Every route fills the URL and the
// title (without terminators) and returns 0 or the first failure.
#pragma once

#include <string>

#include "platform/apple_events.h"

namespace cx {

platform::OSErr get_top_URL_info(std::string& url, std::string& title);

// `getd` of property `property` of element 1 of class `element_class`, sent
// to the front process.
platform::OSErr get_browser_URL_info(std::string& text, platform::OSType element_class,
                                     platform::OSType property);
platform::OSErr get_omniweb_URL_info(std::string& url, std::string& title);
// `netscape6`: the older browser, whose titles carry a shorter suffix.
platform::OSErr get_mozilla_URL_info(std::string& url, std::string& title, bool netscape6);
platform::OSErr get_safari_URL_info(std::string& url, std::string& title);
platform::OSErr get_spyglass_URL_info(std::string& url, std::string& title);
// Browsers that answer no Apple events: the front window's title and the
// address its page gives the accessibility tree.
platform::OSErr get_desktop_URL_info(std::string& url, std::string& title);

}  // namespace cx
