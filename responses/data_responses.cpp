// Responses that carry one dataspace: a URL to launch, a file to open, a
// text to paste.
#include <cstdio>
#include <cstring>
#include <string>

#include "model/builtin_actlists.h"
#include "plist/text.h"
#include "responses/resp_block.h"
#include "responses/resp_emit.h"
#include "responses/response_kinds.h"

namespace cx {
namespace {

// A dataspace's length is 16 bits; texts keep their NUL in it.
constexpr size_t kMaxDataspace = 0xFFFF;

// A text and its NUL in one dataspace; the messages end in a newline.
void build_text_response(resp_work* work, const plist::Value* value, const act_item* actlist,
                         const char* not_a_string, const char* too_long) {
  const auto* text = plist::as<plist::String>(value);
  if (!text) {
    std::fputs(not_a_string, stderr);
    return;
  }
  if (text->text().size() + 1 > kMaxDataspace) {
    std::fputs(too_long, stderr);
    return;
  }
  add_dataspace_resp_block(work, actlist, 1, text->text().c_str(),
                           static_cast<uint16_t>(text->text().size() + 1));
}

// The text up to its NUL (a block from the driver may lack one).
plist::ValueRef make_text_pref(resp_work* work, const char* what, const char* no_string) {
  resp_block_view view;
  if (!take_resp_block(work, &view)) return nullptr;
  uint16_t length = 0;
  const uint8_t* data = view_dataspace(view, what, &length);
  if (!data) return nullptr;
  const auto* chars = reinterpret_cast<const char*>(data);
  const std::string text(chars, strnlen(chars, length));
  if (!plist::text_defect(text, false).empty()) {
    std::fputs(no_string, stderr);
    return nullptr;
  }
  return plist::make_string(text);
}

}  // namespace

void build_launchURL_response(resp_work* work, const plist::Value* value) {
  build_text_response(work, value, launch_url_actlist.data(),
                      "Corvex Background: Invalid Launch URL Response - Not a CFString\n",
                      "Corvex Background: Cannot convert URL string to C string\n");
}

void build_pastetext_response(resp_work* work, const plist::Value* value) {
  build_text_response(work, value, paste_text_actlist.data(),
                      "Corvex Background: Invalid Text Response - Not a string\n",
                      "Corvex Background: Cannot convert Paste Text string to UTF8\n");
}

void build_launchfile_response(resp_work* work, const plist::Value* value) {
  const auto* file = plist::as<plist::Data>(value);
  if (!file) {
    std::fprintf(stderr, "Corvex Background: Invalid Launch File Response - Not a CFData\n");
    return;
  }
  const auto& bytes = file->bytes();
  if (bytes.size() > kMaxDataspace) {
    std::fprintf(stderr,
                 "Corvex Background: Cannot allocate buffer for Launch File response block\n");
    return;
  }
  add_dataspace_resp_block(work, launch_file_actlist.data(), 1, bytes.data(),
                           static_cast<uint16_t>(bytes.size()));
}

bool is_launchURL_response(resp_work work) {
  return check_response(work, 1, launch_url_actlist.data(), 0);
}

bool is_launchfile_response(resp_work work) {
  return check_response(work, 1, launch_file_actlist.data(), 0);
}

bool is_pastetext_response(resp_work work) {
  return check_response(work, 1, paste_text_actlist.data(), 0);
}

plist::ValueRef make_launchURL_pref(resp_work* work) {
  return make_text_pref(work, "Launch URL",
                        "Corvex Background: Cannot make Launch URL prefs - no string");
}

plist::ValueRef make_pastetext_pref(resp_work* work) {
  return make_text_pref(work, "paste text",
                        "Corvex Background: Cannot make paste text prefs - no string");
}

plist::ValueRef make_launchfile_pref(resp_work* work) {
  resp_block_view view;
  if (!take_resp_block(work, &view)) return nullptr;
  uint16_t length = 0;
  const uint8_t* data = view_dataspace(view, "launch file", &length);
  if (!data) return nullptr;
  return plist::make_data(std::vector<uint8_t>(data, data + length));
}

}  // namespace cx
