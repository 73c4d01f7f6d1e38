// The notice shown after a page was captured into a button's menu.
#pragma once

#include <string_view>

#include "platform/dialogs.h"

namespace cx {

// The notice's texts: the headline names button `button`; the title and the
// address (in parentheses) are cut to what the notice has room for.
platform::CaptureNotice capture_notice(int button, std::string_view url, std::string_view title);

}  // namespace cx
