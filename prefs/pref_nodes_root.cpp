// The root of the tree and the version stamp.
#include <cstdio>

#include "platform/preferences.h"
#include "prefs/pref_domain.h"
#include "prefs/pref_schema.h"

namespace cx {

void read_cx_pref_data(PrefNode* node) {
  call_children(node, 0);
}

void write_cx_pref_data(PrefNode* node) {
  call_children(node, 1);
  const pref_item_info* self = get_object_info(node);
  if (!self->user_value) return;
  using platform::PrefHost;
  using platform::PrefUser;
  if (!platform::write_preference_value(kPrefRootKey, self->user_value, kPrefDomain,
                                        PrefUser::Current, PrefHost::Any))
    std::fprintf(stderr,
                 "\nCFPreferencesSynchronize returned FALSE: \t\t\t\t%s has NOT been updated.\n",
                 kPrefFileName);
}

void read_prefvers_data(PrefNode* node) {
  get_pref(node);
}

// Every save stamps the user's dictionary with the defaults' version.
void write_prefvers_data(PrefNode* node) {
  pref_item_info* self = get_object_info(node);
  if (!self->default_value) return;
  self->user_value = self->default_value;
  put_pref(node);
  self->flags |= pref_flag::changed;
}

}  // namespace cx
