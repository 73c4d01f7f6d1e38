// Preference domains: property-list files, one per domain and scope. Only
// reading is offered so far.
#pragma once

#include <string>
#include <string_view>

#include "plist/value.h"

namespace cx::platform {

enum class PrefUser { Current, Any };
enum class PrefHost { Current, Any };

// The file that holds a domain's values for one scope; empty when the domain
// cannot name a file (empty, or containing a slash).
std::string preference_file_path(std::string_view domain, PrefUser user, PrefHost host);

// CFPreferencesCopyValue: the value stored under key, or null when the key,
// the file or a readable dictionary in it is missing.
plist::ValueRef copy_preference_value(std::string_view key, std::string_view domain, PrefUser user,
                                      PrefHost host);

}  // namespace cx::platform
