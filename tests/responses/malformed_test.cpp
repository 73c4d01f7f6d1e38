// Bad input both ways: values of the wrong type in a response dictionary,
// and truncated or inconsistent response blocks. Nothing crashes, each
// defect is reported, and nothing half-built reaches the driver.
#include <gtest/gtest.h>

#include <string>

#include "model/builtin_actlists.h"
#include "model/response_block.h"
#include "responses/resp_work.h"
#include "tests/responses/resp_run.h"
#include "tests/support/golden_files.h"
#include "util/byte_order.h"

namespace cx {
namespace {

using plist::Dictionary;
using test::build_run;
using test::Bytes;
using test::read_back;

std::shared_ptr<Dictionary> response(const std::string& kind, plist::ValueRef value) {
  return plist::make_dictionary({{"ButtonLabel", plist::make_string("Label")},
                                 {"ResponseFlags", plist::make_string("None")},
                                 {"Response", plist::make_dictionary({{kind, value}})}});
}

std::shared_ptr<plist::Array> strings(std::initializer_list<const char*> texts) {
  auto array = plist::make_array();
  for (const char* text : texts) array->append(plist::make_string(text));
  return array;
}

TEST(MalformedResponse, WrongValuesBuildNothing) {
  const std::string prefix = "Corvex Background: Invalid ";
  auto with_number = plist::make_array();
  with_number->append(plist::make_string("Cmd+C"));
  with_number->append(plist::make_int32(5));
  auto menu_with_string = plist::make_array();
  menu_with_string->append(plist::make_string("Click"));
  const struct {
    const char* name;
    std::shared_ptr<Dictionary> in;
    std::string message;
  } cases[] = {
      {"standard", response("StandardResponse", plist::make_int32(1)),
       "Simple Response - Not a CFString\n"},
      {"standard lower case", response("StandardResponse", plist::make_string("click")), ""},
      {"standard misspelled", response("StandardResponse", plist::make_string("Double-Click")), ""},
      {"menu", response("MenuResponse", plist::make_string("x")),
       "Menu Response - Not a CFArray\n"},
      {"menu entry", response("MenuResponse", menu_with_string),
       "Menu Response - Entry not a CFDictionary\n"},
      {"launch url", response("LaunchURL", plist::make_data({1})),
       "Launch URL Response - Not a CFString\n"},
      {"keystrokes", response("Keystrokes", plist::make_dictionary()),
       "Keystroke Response - Not an array\n"},
      {"keystroke not a string", response("Keystrokes", with_number),
       "Keystroke Response - Not a string\n"},
      {"one bad keystroke", response("Keystrokes", strings({"Cmd+C", "Hard+A", "Return"})),
       "Keystroke Response - Not a keystroke: \n"},
      {"more clicks", response("MoreClicks", plist::make_array()),
       "More Clicks Response - Not a Dictionary\n"},
      {"launch file", response("LaunchFile", plist::make_string("/Applications")),
       "Launch File Response - Not a CFData\n"},
      {"paste text", response("PasteText", plist::make_bool(true)),
       "Text Response - Not a string\n"},
      {"unknown kind", response("Telepathy", plist::make_string("x")),
       "Corvex Background: Unknown Response kind Telepathy\n"},
      {"label", plist::make_dictionary({{"ButtonLabel", plist::make_int32(1)}}),
       "Button Label - Not a CFString\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    testing::internal::CaptureStderr();
    EXPECT_EQ(build_run(1, c.in.get()), Bytes());
    const std::string messages = testing::internal::GetCapturedStderr();
    if (c.message.empty())
      EXPECT_EQ(messages, "Corvex Background: Couldn't find standard response\n");
    else if (c.message.starts_with("Corvex"))
      EXPECT_EQ(messages, c.message);
    else
      EXPECT_EQ(messages, prefix + c.message);
  }
}

// A keystroke list that fails half-way leaves no trace in the transfer
// block: the menu holds the entries before and after it, whole.
TEST(MalformedResponse, BadKeystrokesInsideAMenu) {
  auto entries = plist::make_array();
  entries->append(response("StandardResponse", plist::make_string("Click")));
  entries->append(response("Keystrokes", strings({"Cmd+C", "Cmd+Banana"})));
  entries->append(response("StandardResponse", plist::make_string("Drag")));
  testing::internal::CaptureStderr();
  const Bytes run = build_run(1, response("MenuResponse", entries).get());
  testing::internal::GetCapturedStderr();
  size_t at = 0;
  int blocks = 0;
  while (at < run.size()) {
    uint32_t length = 0;
    ASSERT_NE(CXTransferValidate(run.data() + at, static_cast<uint32_t>(run.size() - at), &length),
              nullptr)
        << "block " << blocks;
    at += load_be32(run.data() + at);
    ++blocks;
  }
  EXPECT_EQ(blocks, 3);
  EXPECT_EQ(at, run.size());
}

Bytes menu_run() {
  auto entries = plist::make_array();
  entries->append(response("PasteText", plist::make_string("text")));
  entries->append(response("Keystrokes", strings({"Cmd+V"})));
  return build_run(1, response("MenuResponse", entries).get());
}

// Every prefix of a valid run is read without reading past it.
TEST(MalformedResponse, TruncatedRuns) {
  const Bytes run = menu_run();
  testing::internal::CaptureStderr();
  for (size_t size = 0; size < run.size(); ++size) {
    const Bytes cut(run.begin(), run.begin() + size);
    const auto written = read_back(cut);
    EXPECT_GE(written.left, 0);
    if (written.dict) {
      EXPECT_FALSE(written.dict->contains("Response")) << size;
    }
  }
  const std::string messages = testing::internal::GetCapturedStderr();
  EXPECT_NE(messages.find("Cannot make menu prefs - missing menu entry"), std::string::npos);
}

// Re-frames a block whose payload was edited.
void fix_checksum(Bytes& block) {
  const uint32_t length = load_be32(block.data());
  store_be16(block.data() + length - 2, CXTransferChecksum(block.data(), length));
}

TEST(MalformedResponse, InconsistentBlocks) {
  const auto block = [](const act_item* items, uint16_t count, const char* data, uint16_t length,
                        uint16_t ds_length) {
    Bytes b(256, 0);
    b.resize(build_dataspace_response_block(b.data(), 256, 0, 1, 0, false, items, count, data,
                                            length, 0, "Label"));
    store_be16(b.data() + 4 + response_header::size + count * kActItemWireSize + 4 + 2, ds_length);
    // The nested block's checksum does not cover its own length word; refit it.
    Bytes nested(b.begin() + 4 + response_header::size + count * kActItemWireSize, b.end() - 2);
    fix_checksum(nested);
    std::copy(nested.begin(), nested.end(),
              b.begin() + 4 + response_header::size + count * kActItemWireSize);
    fix_checksum(b);
    return b;
  };
  const act_item key_200[] = {make_act_item(0, 200, 2, 0x0200, 0)};
  const act_item caps_click[] = {make_act_item(0x10, 0, 1, 1, 0), make_act_item(0x10, 0, 2, 2, 0)};
  const std::string prefix = "Corvex Background: Cannot make ";
  const struct {
    const char* name;
    Bytes in;
    std::string message;
  } cases[] = {
      {"dataspace length", block(paste_text_actlist.data(), 1, "abc", 4, 3),
       "paste text prefs - mismatched dataspace length"},
      {"url not text", block(launch_url_actlist.data(), 1, "\xff\xfe", 3, 3),
       "Launch URL prefs - no string"},
      {"no dataspace",
       [] {
         Bytes b(256, 0);
         b.resize(build_actlist_response_block(b.data(), 256, 0, 1, 0, false,
                                               launch_file_actlist.data(), 1, "Label"));
         return b;
       }(),
       "launch file prefs - invalid dataspace block"},
      {"key code", block(key_200, 1, "", 0, 0), "keystroke prefs - no string"},
      {"caps lock click", block(caps_click, 2, "", 0, 0),
       "more clicks prefs - no modifiers string"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    testing::internal::CaptureStderr();
    const auto written = read_back(c.in);
    const std::string messages = testing::internal::GetCapturedStderr();
    ASSERT_TRUE(written.dict);
    EXPECT_TRUE(written.dict->contains("ButtonLabel"));
    EXPECT_FALSE(written.dict->contains("Response"));
    EXPECT_EQ(messages, prefix + c.message);
    EXPECT_EQ(written.left, 0);
  }
}

TEST(MalformedResponse, NoBlockAtTheReadPosition) {
  resp_work work;
  std::shared_ptr<Dictionary> dict;
  const uint8_t garbage[50] = {0, 0, 0, 50};
  work.read_pos = garbage;
  work.remaining = sizeof garbage;
  testing::internal::CaptureStderr();
  put_resp_data(&work, &dict, nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Corvex Background: Cannot make prefs - invalid response block");
  EXPECT_EQ(work.remaining, 0) << "a reader always makes progress";
  EXPECT_FALSE(start_resp_read(&work, garbage, sizeof garbage));
}

}  // namespace
}  // namespace cx
