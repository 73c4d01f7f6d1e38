// Standard responses: built-in action lists named in the preference file.
#include <cstdio>

#include "responses/resp_block.h"
#include "responses/resp_emit.h"
#include "responses/resp_tables.h"
#include "responses/response_kinds.h"

namespace cx {

void build_standard_response(resp_work* work, const plist::Value* value) {
  const auto* name = plist::as<plist::String>(value);
  if (!name) {
    std::fprintf(stderr, "Corvex Background: Invalid Simple Response - Not a CFString\n");
    return;
  }
  for (const auto& row : stdresp_table) {
    if (row.name == name->text()) {
      add_actlist_resp_block(work, row.list, row.count);
      return;
    }
  }
  std::fprintf(stderr, "Corvex Background: Couldn't find standard response\n");
}

bool is_standard_response(resp_work work) {
  for (const auto& row : stdresp_table)
    if (check_response(work, row.count, row.list, row.mask)) return true;
  return false;
}

plist::ValueRef make_standard_pref(resp_work* work) {
  const resp_work block = *work;
  skip_resp_block(work);
  for (const auto& row : stdresp_table)
    if (check_response(block, row.count, row.list, row.mask))
      return plist::make_string(std::string(row.name));
  // Deliberately saved as a plain click rather than lost.
  std::fprintf(stderr, "Corvex Background: Cannot make standard prefs - no matching response");
  return plist::make_string(std::string(stdresp_table.front().name));
}

}  // namespace cx
