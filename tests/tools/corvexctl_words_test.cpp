// corvexctl's command-line notation of a response: the preference file's
// spelling of what it binds, its quoting for the shell, and its bash
// completion. The round trip through the driver is in the edit test.
#include <gtest/gtest.h>

#include <string>

#include "plist/plist_io.h"
#include "tests/support/child_process.h"
#include "tests/support/golden.h"
#include "tools/corvexctl/response_text.h"

namespace cx::corvexctl {
namespace {

TEST(CorvexctlWords, ClicksAreStoredAsThePreferenceFileSpellsThem) {
  ResponseWords click_words;
  click_words.kind = "MoreClicks";
  click_words.value = {"option+shift+rightclick"};
  std::string error;
  const auto dict = response_dictionary(click_words, &error);
  ASSERT_TRUE(dict) << error;
  const plist::WriteResult xml = plist::write_plist(*dict, plist::Format::Xml);
  EXPECT_EQ(std::string(xml.bytes.begin(), xml.bytes.end()),
            test::read_text("click_response.plist"));
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
