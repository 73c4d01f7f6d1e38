// Preference domains: property-list files, one per domain and scope. Values
// set in this process stay pending until the scope is synchronised, which
// merges them into the file as it is on disk at that moment.
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

// CFPreferencesSetValue: pending until the next synchronize of the scope, and
// seen by copy_preference_value before that. A null value removes the key.
void set_preference_value(std::string_view key, plist::ValueRef value, std::string_view domain,
                          PrefUser user, PrefHost host);

// CFPreferencesSynchronize: writes this process's pending changes over the
// file's current contents (atomically, under an advisory lock held from the
// read to the rename) and forgets them. True when there was nothing to write
// or the file was written. A file that cannot be read or parsed, or a lock
// held elsewhere for seconds, is never replaced: false, the reason on the
// standard error stream, and the changes stay pending. Keys this process did
// not set keep their values; the file keeps its format (XML for a new file)
// and its permission bits; a user's file that is a link to a file of theirs
// is written through the link.
bool synchronize_preferences(std::string_view domain, PrefUser user, PrefHost host);

// set_preference_value, then synchronize_preferences, without first copying
// a value that is written at once; when the write fails, a copy stays
// pending.
bool write_preference_value(std::string_view key, const plist::ValueRef& value,
                            std::string_view domain, PrefUser user, PrefHost host);

}  // namespace cx::platform
