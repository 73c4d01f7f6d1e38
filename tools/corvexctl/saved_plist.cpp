#include "tools/corvexctl/saved_plist.h"

#include <cstdio>

#include "driver/driver_connection.h"
#include "plist/plist_io.h"
#include "prefs/pref_files.h"
#include "prefs/pref_schema.h"
#include "prefs/pref_tree.h"
#include "tools/corvexctl/agent_events.h"

namespace cx::corvexctl {

int print_saved_plist() {
  if (!ConnectToDriver()) {
    std::fprintf(stderr, "corvexctl: the driver cannot be reached (is corvex-driverd running?)\n");
    return kExitFailed;
  }
  // A save's write pass, minus the file: the tree learns the dictionaries
  // without touching the driver, as after a load, and then only the root's
  // children write, since the root's own writer would synchronise the domain.
  pref_tree_ref root = create_pref_tree();
  pref_item_info* info = get_object_info(root.get());
  info->flags |= pref_flag::tree_only;
  read_plist_prefs(&root);
  info->flags &= ~pref_flag::tree_only;
  if (!info->default_value) {
    DisconnectFromDriver();
    std::fprintf(stderr, "corvexctl show: the default preferences cannot be read\n");
    return kExitFailed;
  }
  call_children(root.get(), 1);
  DisconnectFromDriver();
  auto domain = plist::make_dictionary();
  domain->set(kPrefRootKey, info->user_value ? info->user_value : plist::make_dictionary());
  const plist::WriteResult xml = plist::write_plist(*domain, plist::Format::Xml);
  if (!xml.ok()) {
    std::fprintf(stderr, "corvexctl show: %s\n", xml.error.c_str());
    return kExitFailed;
  }
  std::fwrite(xml.bytes.data(), 1, xml.bytes.size(), stdout);
  return kExitOk;
}

}  // namespace cx::corvexctl
