// Field access to the response block header copied into a work record.
#pragma once

#include <cstdint>
#include <string_view>

#include "model/numbering.h"
#include "responses/resp_work.h"

namespace cx {

uint8_t resp_button(const resp_work& work);
uint8_t resp_mods(const resp_work& work);
bool resp_is_global(const resp_work& work);
int16_t resp_menu_index(const resp_work& work);
void set_resp_menu_index(resp_work* work, int16_t index);
// The name field up to its NUL (at most its 32 bytes).
std::string_view resp_name(const resp_work& work);
// Stores what fits of `label` in the name field, cut between characters so
// the saved name stays valid text.
void set_resp_name(resp_work* work, std::string_view label);
uint16_t resp_flags(const resp_work& work);
void set_resp_flags(resp_work* work, uint16_t flags);
uint16_t resp_action_count(const resp_work& work);

}  // namespace cx
