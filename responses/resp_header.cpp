#include "responses/resp_header.h"

#include <cstring>

#include "plist/text.h"
#include "util/byte_order.h"

namespace cx {

namespace h = response_header;

uint8_t resp_button(const resp_work& work) {
  return work.header[h::button_id];
}

uint8_t resp_mods(const resp_work& work) {
  return work.header[h::mods];
}

bool resp_is_global(const resp_work& work) {
  const uint8_t button = resp_button(work);
  return is_preset_button(button);
}

int16_t resp_menu_index(const resp_work& work) {
  return static_cast<int16_t>(load_be16(work.header + h::menuidx));
}

void set_resp_menu_index(resp_work* work, int16_t index) {
  store_be16(work->header + h::menuidx, static_cast<uint16_t>(index));
}

std::string_view resp_name(const resp_work& work) {
  const auto* name = reinterpret_cast<const char*>(work.header + h::name);
  return std::string_view(name, strnlen(name, h::name_size));
}

void set_resp_name(resp_work* work, std::string_view label) {
  size_t fit = 0;
  for (size_t next = 0; next < label.size();) {
    uint32_t c = 0;
    const size_t length = plist::decode_utf8(label, next, c);
    next += length ? length : 1;
    if (next > h::name_size - 1) break;
    fit = next;
  }
  uint8_t* field = work->header + h::name;
  std::memset(field, 0, h::name_size);
  std::memcpy(field, label.data(), fit);
}

uint16_t resp_flags(const resp_work& work) {
  return load_be16(work.header + h::flags);
}

void set_resp_flags(resp_work* work, uint16_t flags) {
  store_be16(work->header + h::flags, flags);
}

uint16_t resp_action_count(const resp_work& work) {
  return load_be16(work.header + h::num_actions);
}

}  // namespace cx
