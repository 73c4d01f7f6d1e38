// Our XML property-list reader: one pass from text to values. It is strict
// where libplist 2.2 was lenient (an empty integer, "010", a dangling key are
// refused, not read as something else) and says where a document goes wrong.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "plist/value.h"

namespace cx::plist {

struct XmlDefect {
  int line = 1;    // 1-based
  int column = 1;  // 1-based, counted in characters
  std::string what;
};

struct XmlRead {
  ValueRef value;                   // null when the document has a defect
  std::optional<XmlDefect> defect;  // the first one
};

XmlRead read_xml_plist(std::string_view doc);

}  // namespace cx::plist
