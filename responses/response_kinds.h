// The seven kinds of response a button can have, each with its builder
// (preference value -> response block), recogniser (does a response block
// have this kind's shape?) and maker (response block -> preference value).
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "model/act_item.h"
#include "plist/value.h"
#include "responses/resp_work.h"

namespace cx {

// Whether the block at the record's read position has `count` items whose
// action codes, and the fields that `mask` names, equal those of `actlist`.
int check_response(resp_work work, uint16_t count, const act_item* actlist, uint8_t mask);

// Builders report a value of the wrong type and add nothing.
void build_standard_response(resp_work* work, const plist::Value* value);
void build_menu_response(resp_work* work, const plist::Value* value);
void build_launchURL_response(resp_work* work, const plist::Value* value);
void build_keystroke_response(resp_work* work, const plist::Value* value);
void build_moreclicks_response(resp_work* work, const plist::Value* value);
void build_launchfile_response(resp_work* work, const plist::Value* value);
void build_pastetext_response(resp_work* work, const plist::Value* value);

bool is_standard_response(resp_work work);
bool is_menu_response(resp_work work);
bool is_launchURL_response(resp_work work);
bool is_keystroke_response(resp_work work);
bool is_moreclicks_response(resp_work work);
bool is_launchfile_response(resp_work work);
bool is_pastetext_response(resp_work work);

// Makers move the read position past the block whatever happens; null when
// no value can be made.
plist::ValueRef make_standard_pref(resp_work* work);
plist::ValueRef make_menu_pref(resp_work* work);
plist::ValueRef make_launchURL_pref(resp_work* work);
plist::ValueRef make_keystroke_pref(resp_work* work);
plist::ValueRef make_moreclicks_pref(resp_work* work);
plist::ValueRef make_launchfile_pref(resp_work* work);
plist::ValueRef make_pastetext_pref(resp_work* work);

struct resp_kind_row {
  void (*build)(resp_work*, const plist::Value*);
  bool (*recognise)(resp_work);
  std::string_view name;
  plist::ValueRef (*make)(resp_work*);
};

// Searched in this order both ways; the first row is also the fallback for a
// response that no recogniser accepts.
inline constexpr std::array<resp_kind_row, 7> resp_table = {{
    {build_standard_response, is_standard_response, "StandardResponse", make_standard_pref},
    {build_menu_response, is_menu_response, "MenuResponse", make_menu_pref},
    {build_launchURL_response, is_launchURL_response, "LaunchURL", make_launchURL_pref},
    {build_keystroke_response, is_keystroke_response, "Keystrokes", make_keystroke_pref},
    {build_moreclicks_response, is_moreclicks_response, "MoreClicks", make_moreclicks_pref},
    {build_launchfile_response, is_launchfile_response, "LaunchFile", make_launchfile_pref},
    {build_pastetext_response, is_pastetext_response, "PasteText", make_pastetext_pref},
}};

}  // namespace cx
