// A validating pass over an XML property list before libplist sees it.
// libplist 2.2 recurses once per nesting level and reads many malformed
// documents as something else (an empty integer as 0, "010" as octal, a
// dangling key as nothing); this pass refuses all of those and says where.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace cx::plist {

struct XmlDefect {
  int line = 1;    // 1-based
  int column = 1;  // 1-based, counted in characters
  std::string what;
};

// The first defect of `doc`, or nothing when libplist can be given it.
std::optional<XmlDefect> scan_xml_plist(std::string_view doc);

}  // namespace cx::plist
