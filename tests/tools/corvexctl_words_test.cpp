// corvexctl's command-line notation of a response: words -> the preference
// file's response dictionary -> the agent's own conversion to a response
// block and back -> the same words; and its bash completion.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "driver/transfer_block.h"
#include "model/response_block.h"
#include "responses/resp_work.h"
#include "tests/support/child_process.h"
#include "tools/corvexctl/response_text.h"

namespace cx::corvexctl {
namespace {

using Words = std::vector<std::string>;

ResponseWords words(std::string kind, Words value) {
  ResponseWords w;
  w.kind = std::move(kind);
  w.value = std::move(value);
  return w;
}

// Through a response block of button 3, as bind sends it and show reads it.
ResponseWords through_block(const plist::Dictionary& dict) {
  std::vector<uint8_t> buffer(4096);
  CXTransferContext transfer;
  CXTransferStart(&transfer, buffer.data(), static_cast<uint32_t>(buffer.size()));
  resp_work in;
  in.header[response_header::button_id] = 3;
  in.transfer = &transfer;
  get_resp_data(&in, &dict, nullptr);
  // The blocks follow the outer block's length word.
  constexpr uint32_t kLengthWord = 4;
  resp_work out;
  EXPECT_TRUE(start_resp_read(&out, buffer.data() + kLengthWord,
                              static_cast<int32_t>(transfer.used - kLengthWord)));
  std::shared_ptr<plist::Dictionary> back;
  put_resp_data(&out, &back, nullptr);
  EXPECT_EQ(out.remaining, 0);
  return back ? response_words(*back) : ResponseWords{};
}

TEST(CorvexctlWords, EveryKindComesBackFromItsResponseBlockNormalised) {
  ResponseWords menu = words("MenuResponse", {});
  menu.label = "Tools";
  menu.entries = {words("Keystrokes", {"Cmd+C"}), words("LaunchURL", {"https://x.org/"})};
  menu.entries[0].label = "Copy";
  const std::pair<ResponseWords, Words> cases[] = {
      {words("StandardResponse", {"DoNothing"}), {"DoNothing"}},
      {words("Keystrokes", {"shift+cmd+a", "num 0", "#102", "F1"}),
       {"Shift+Cmd+A", "Num 0", "#102", "F1"}},
      {words("MoreClicks", {"ctrl+button5click", "drag"}), {"Ctrl+Button5Click", "Drag"}},
      {words("MoreClicks", {"MiddleClick", "Double", "Drag"}), {"MiddleClick", "Double", "Drag"}},
      {words("LaunchURL", {"https://www.example.org/corvex"}), {"https://www.example.org/corvex"}},
      {words("PasteText", {"Grüße,\nFred"}), {"Grüße,\nFred"}},
      {words("LaunchFile", {"/tmp/a b%.txt"}), {"file:///tmp/a%20b%25.txt"}},
      {words("LaunchFile", {"<00ff10>"}), {"<00ff10>"}},
      {menu, {}},
  };
  for (const auto& [in, printed] : cases) {
    SCOPED_TRACE(in.kind + (in.value.empty() ? "" : " " + in.value[0]));
    std::string error;
    const auto dict = response_dictionary(in, &error);
    ASSERT_TRUE(dict) << error;
    const ResponseWords back = through_block(*dict);
    EXPECT_EQ(back.kind, in.kind);
    EXPECT_EQ(back.value, printed);
    EXPECT_EQ(back.label, in.label);
    EXPECT_EQ(back.flags, in.flags);
    ASSERT_EQ(back.entries.size(), in.entries.size());
    for (size_t i = 0; i < in.entries.size(); ++i) {
      EXPECT_EQ(back.entries[i].value, in.entries[i].value);
      EXPECT_EQ(back.entries[i].label, in.entries[i].label);
    }
  }
}

TEST(CorvexctlWords, ClicksAreStoredAsThePreferenceFileSpellsThem) {
  std::string error;
  const auto dict = response_dictionary(words("MoreClicks", {"option+shift+rightclick"}), &error);
  ASSERT_TRUE(dict) << error;
  const auto* click = plist::as<plist::Dictionary>(
      plist::as<plist::Dictionary>(dict->get("Response"))->get("MoreClicks"));
  ASSERT_TRUE(click);
  EXPECT_EQ(plist::as<plist::String>(click->get("Modifiers"))->text(), "Shift+Option");
  EXPECT_EQ(plist::as<plist::String>(click->get("ClickID"))->text(), "RightClick");
  EXPECT_FALSE(plist::as<plist::Boolean>(click->get("Double"))->value());
  EXPECT_EQ(plist::as<plist::String>(dict->get("ButtonLabel"))->text(), "Shift+Option+RightClick");
  EXPECT_EQ(plist::as<plist::String>(dict->get("ResponseFlags"))->text(), "None");
}

TEST(CorvexctlWords, ShellWordsSurviveTheShell) {
  for (const std::string word : {"Cmd+W", "Page Up", "#102", "it's", "a\nb", "", "~x", "x&y"}) {
    const test::CommandResult r =
        test::run_command({"bash", "-c", "printf '%s' " + shell_word(word)});
    EXPECT_EQ(r.out, word) << shell_word(word);
  }
}

TEST(CorvexctlCompletion, OffersTheWordsThatFitWhereTheCursorIs) {
  const std::pair<std::string, std::string> cases[] = {
      {"corvexctl un", "unbind"},
      {"corvexctl bind B4", "B4Button"},
      {"corvexctl bind --app TextEdit B4Button Key", "Keystrokes"},
      {"corvexctl bind B4Button StandardResponse Hom", "HomePage"},
      {"corvexctl bind B4Button MoreClicks Button5", "Button5Click"},
      {"corvexctl bind B4Button MenuResponse --entry Paste", "PasteText"},
      {"corvexctl bind B4Button MenuResponse --entry Menu", ""},
      {"corvexctl bind --mods Opt", "Option"},
      {"corvexctl unbind --app TextEdit Wheel", "WheelButton"},
      {"corvexctl app r", "remove"},
  };
  for (const auto& [line, offered] : cases) {
    const std::string script = "source " CX_COMPLETION "; COMP_WORDS=(" + line +
                               "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _corvexctl; "
                               "printf '%s' \"${COMPREPLY[*]}\"";
    EXPECT_EQ(test::run_command({"bash", "-c", script}).out, offered) << line;
  }
}

}  // namespace
}  // namespace cx::corvexctl
