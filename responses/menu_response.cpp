// Menu responses: the button opens its own popup menu, whose entries are
// responses of their own that follow the menu's block one by one.
#include <cstdio>
#include <cstring>
#include <string>

#include "model/builtin_actlists.h"
#include "model/response_block.h"
#include "responses/resp_block.h"
#include "responses/resp_emit.h"
#include "responses/resp_header.h"
#include "responses/response_kinds.h"

namespace cx {
namespace {

// Deeper menus than any control panel makes.
constexpr uint8_t kMaxMenuDepth = 8;

// Reports `message` when the menu would nest too deep.
bool too_deep(const resp_work& work, const char* message) {
  if (work.menu_depth < kMaxMenuDepth) return false;
  std::fputs(message, stderr);
  return true;
}

// Entries overwrite the record's header; the menu's own is put back after.
class MenuScope {
 public:
  explicit MenuScope(resp_work* work) : work_(work) {
    std::memcpy(saved_, work->header, sizeof saved_);
    ++work->menu_depth;
  }
  ~MenuScope() {
    std::memcpy(work_->header, saved_, sizeof saved_);
    --work_->menu_depth;
  }
  MenuScope(const MenuScope&) = delete;
  MenuScope& operator=(const MenuScope&) = delete;

 private:
  resp_work* work_;
  uint8_t saved_[response_header::size];
};

}  // namespace

void build_menu_response(resp_work* work, const plist::Value* value) {
  const auto* entries = plist::as<plist::Array>(value);
  if (!entries) {
    std::fprintf(stderr, "Corvex Background: Invalid Menu Response - Not a CFArray\n");
    return;
  }
  if (too_deep(*work, "Corvex Background: Invalid Menu Response - Nested too deep\n")) return;
  // A menu whose entries cannot all be read would not match its count.
  for (const auto& entry : entries->items()) {
    if (!plist::as<plist::Dictionary>(entry)) {
      std::fprintf(stderr, "Corvex Background: Invalid Menu Response - Entry not a CFDictionary\n");
      return;
    }
  }
  const bool global = resp_is_global(*work);
  // A global menu shows no name of its own.
  const std::string name(global ? std::string_view() : resp_name(*work));
  const auto count = static_cast<uint16_t>(entries->size());
  add_resp_block(work->transfer, [&](uint8_t* space, uint32_t avail) {
    return build_menu_response_block(space, avail, resp_mods(*work), resp_button(*work), global,
                                     count, name.c_str());
  });
  MenuScope scope(work);
  for (uint16_t i = 0; i < count; ++i) {
    set_resp_menu_index(work, static_cast<int16_t>(i + 1));
    get_resp_data(work, plist::as<plist::Dictionary>(entries->at(i)), nullptr);
  }
}

bool is_menu_response(resp_work work) {
  return check_response(work, 1, &menu_action, 0);
}

plist::ValueRef make_menu_pref(resp_work* work) {
  resp_block_view view;
  if (!take_resp_block(work, &view) || view.action_count == 0 ||
      too_deep(*work, "Corvex Background: Cannot make menu prefs - nested too deep"))
    return nullptr;
  const uint16_t count = view.item(0).ch12;
  auto entries = plist::make_array();
  MenuScope scope(work);
  for (uint16_t i = 0; i < count; ++i) {
    if (!start_resp_read(work, work->read_pos, work->remaining)) {
      std::fprintf(stderr, "Corvex Background: Cannot make menu prefs - missing menu entry");
      return nullptr;
    }
    std::shared_ptr<plist::Dictionary> entry;
    put_resp_data(work, &entry, nullptr);
    entries->append(entry);
  }
  return entries;
}

}  // namespace cx
