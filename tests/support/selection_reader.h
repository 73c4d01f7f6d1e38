// Another X client asking for the clipboard, as a paste does: converts it to
// a target and reads the answer, following INCR transfers. Blocks, so the
// owner's loop must run meanwhile (on another thread).
#pragma once

#include <optional>
#include <string>

namespace cx::test {

struct SelectionValue {
  std::string type;  // the property type's name ("INCR" when sent in steps)
  std::string data;  // bytes; an ATOM list as names each followed by " "
};

// Nothing when refused or after five seconds.
std::optional<SelectionValue> read_clipboard(const std::string& display, const std::string& target);

}  // namespace cx::test
