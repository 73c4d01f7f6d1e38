// Reading a response from its preference dictionary into a response block,
// and writing a response block back as a dictionary.
#include <cstdio>
#include <cstring>
#include <string>

#include "plist/text.h"
#include "responses/resp_block.h"
#include "responses/resp_header.h"
#include "responses/resp_tables.h"
#include "responses/resp_work.h"
#include "responses/response_kinds.h"
#include "responses/vcx_equal.h"

namespace cx {
namespace {

constexpr std::string_view kLabelKey = "ButtonLabel";
constexpr std::string_view kFlagsKey = "ResponseFlags";
constexpr std::string_view kResponseKey = "Response";

// The button node's "changed" flag: its dictionary holds user data.
constexpr uint32_t kHasUserData = 0x10;

// The user's value, else the default's; a value of the wrong type is
// reported and stops the reading.
template <class T>
const T* lookup(const plist::Dictionary* user, const plist::Dictionary* defaults,
                std::string_view key, const char* wrong_type) {
  plist::ValueRef value = user ? user->get(key) : nullptr;
  if (!value && defaults) value = defaults->get(key);
  if (!value) return nullptr;
  const T* typed = plist::as<T>(value);
  if (!typed) std::fputs(wrong_type, stderr);
  return typed;
}

// Sets `key` to `value`, or leaves it out where the defaults hold an equal one.
void put_unless_default(plist::Dictionary& target, const plist::Dictionary* defaults,
                        std::string_view key, plist::ValueRef value) {
  if (defaults && plist::equal(defaults->get(key), value))
    target.remove(key);
  else
    target.set(key, std::move(value));
}

bool same_as_default_response(const plist::Dictionary* defaults, std::string_view kind,
                              const plist::Value* value) {
  const auto* response =
      defaults ? plist::as<plist::Dictionary>(defaults->get(kResponseKey)) : nullptr;
  if (!response || response->size() != 1) return false;
  const auto& [name, default_value] = response->entries().front();
  return name == kind && vcx_CFEqual(default_value.get(), value);
}

}  // namespace

void get_resp_data(resp_work* work, const plist::Dictionary* user,
                   const plist::Dictionary* defaults) {
  const auto* label = lookup<plist::String>(
      user, defaults, kLabelKey, "Corvex Background: Invalid Button Label - Not a CFString\n");
  if (!label) return;
  set_resp_name(work, label->text());

  const auto* flags = lookup<plist::String>(
      user, defaults, kFlagsKey, "Corvex Background: Invalid Response Flags - Not a CFString\n");
  if (!flags) return;
  set_resp_flags(work, 0);
  for (const auto& row : respflag_table) {
    if (row.name == flags->text()) {
      set_resp_flags(work, static_cast<uint16_t>(row.value));
      break;
    }
  }

  const auto* response = lookup<plist::Dictionary>(
      user, defaults, kResponseKey, "Corvex Background: Invalid Response - Not a CFDictionary\n");
  if (!response) return;
  if (response->empty()) {
    std::fprintf(stderr, "Corvex Background: Invalid Response - Empty CFDictionary\n");
    return;
  }
  const auto& [kind, value] = response->entries().front();
  for (const auto& row : resp_table) {
    if (row.name == kind) {
      row.build(work, value.get());
      return;
    }
  }
  std::fprintf(stderr, "Corvex Background: Unknown Response kind %s\n", kind.c_str());
}

bool start_resp_read(resp_work* work, const uint8_t* block, int32_t remaining) {
  if (!block || remaining <= 0) return false;
  uint32_t payload_length = 0;
  const uint8_t* payload =
      CXTransferValidate(block, static_cast<uint32_t>(remaining), &payload_length);
  if (!payload || payload_length < response_header::size) return false;
  std::memcpy(work->header, payload, response_header::size);
  work->read_pos = block;
  work->remaining = remaining;
  return true;
}

void put_resp_data(resp_work* work, std::shared_ptr<plist::Dictionary>* target,
                   const plist::Dictionary* defaults) {
  if (!*target) *target = plist::make_dictionary();
  plist::Dictionary& dict = **target;
  resp_block_view view;
  if (!view_resp_block(*work, &view)) {
    std::fprintf(stderr, "Corvex Background: Cannot make prefs - invalid response block");
    skip_resp_block(work);
    return;
  }

  const std::string_view name = resp_name(*work);
  if (plist::text_defect(name, false).empty())
    put_unless_default(dict, defaults, kLabelKey, plist::make_string(std::string(name)));
  else
    dict.remove(kLabelKey);

  const respflag_row* flags = nullptr;
  for (const auto& row : respflag_table) {
    if (static_cast<uint16_t>(row.value) == resp_flags(*work)) {
      flags = &row;
      break;
    }
  }
  if (flags)
    put_unless_default(dict, defaults, kFlagsKey, plist::make_string(std::string(flags->name)));
  else
    dict.remove(kFlagsKey);

  // An unrecognised response falls to the first kind, which saves it as a
  // plain click.
  const resp_kind_row* kind = &resp_table.front();
  for (const auto& row : resp_table) {
    if (row.recognise(*work)) {
      kind = &row;
      break;
    }
  }
  const plist::ValueRef value = kind->make(work);
  if (!value || same_as_default_response(defaults, kind->name, value.get()))
    dict.remove(kResponseKey);
  else
    dict.set(kResponseKey, plist::make_dictionary({{std::string(kind->name), value}}));

  if (work->pref_flags) {
    if (dict.empty())
      *work->pref_flags &= ~kHasUserData;
    else
      *work->pref_flags |= kHasUserData;
  }
}

}  // namespace cx
