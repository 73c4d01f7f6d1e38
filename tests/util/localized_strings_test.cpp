// Localised strings of the main bundle: the agent's own tables, a missing
// string as null, string lists, and the choice of language.
#include "util/localized_strings.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <optional>
#include <string>
#include <vector>

namespace cx::test {
namespace {

// Sets an environment variable for one test and puts back what was there.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = getenv(name)) old_ = old;
    if (value)
      setenv(name, value, 1);
    else
      unsetenv(name);
  }
  ~ScopedEnv() {
    if (old_)
      setenv(name_, old_->c_str(), 1);
    else
      unsetenv(name_);
  }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

std::vector<std::string> string_list(int list_id) {
  std::vector<std::string> items;
  for (int i = 1; auto s = loadStrListResource(list_id, i); ++i) items.push_back(*s);
  return items;
}

TEST(LocalizedStrings, MissingStringsAreNull) {
  ScopedEnv bundle("CORVEX_BUNDLE", CX_STRINGS_TEST_BUNDLE);
  ScopedEnv language("LANGUAGE", nullptr);
  EXPECT_EQ(loadStringResource(1), "One");
  EXPECT_EQ(loadStringResource(2), std::nullopt);  // not in the table
  EXPECT_EQ(loadStringResource(3), std::nullopt);  // equal to its key
  EXPECT_EQ(loadString("keyWide", "Strings"), "Bewegung “links”");
  EXPECT_EQ(loadString("keyStringID_1", "Other"), std::nullopt);
  EXPECT_EQ(loadString("", "Strings"), std::nullopt);
  // The list ends at its first missing item.
  EXPECT_EQ(string_list(5), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(loadStrListResource(5, 4), "d");

  ScopedEnv nowhere("CORVEX_BUNDLE", "/nonexistent/Corvex Background");
  EXPECT_EQ(loadStringResource(1), std::nullopt);
}

TEST(LocalizedStrings, UserLanguageThenEnglish) {
  ScopedEnv bundle("CORVEX_BUNDLE", CX_STRINGS_TEST_BUNDLE);
  {
    ScopedEnv language("LANGUAGE", "fr");
    EXPECT_EQ(loadStringResource(1), "Un");
    EXPECT_EQ(loadStrListResource(5, 1), "a");  // not translated: English
    EXPECT_STREQ(getenv("LANGUAGE"), "fr");     // left as it was
  }
  {
    ScopedEnv language("LANGUAGE", "de:fr");
    EXPECT_EQ(loadStringResource(1), "Un");
  }
  ScopedEnv language("LANGUAGE", nullptr);
  {
    ScopedEnv messages("LC_ALL", "fr_FR.UTF-8");
    EXPECT_EQ(loadStringResource(1), "Un");
  }
  ScopedEnv messages("LC_ALL", "de_DE.UTF-8");
  EXPECT_EQ(loadStringResource(1), "One");
  EXPECT_EQ(getenv("LANGUAGE"), nullptr);
}

#ifdef CX_AGENT_BUNDLE
TEST(LocalizedStrings, AgentTables) {
  ScopedEnv bundle("CORVEX_BUNDLE", CX_AGENT_BUNDLE);
  ScopedEnv language("LANGUAGE", nullptr);
  EXPECT_EQ(loadStringResource(228), "Corvex Background");
  const auto suffixes = string_list(229);
  ASSERT_GE(suffixes.size(), 2u);
  EXPECT_EQ(suffixes[0], "Corvex Background.app");
  EXPECT_EQ(loadStringResource(230), "loginwindow");
  EXPECT_EQ(loadStringResource(231), "AutoLaunchedApplicationDictionary");
  EXPECT_EQ(loadStringResource(232), "Hide");
  EXPECT_EQ(loadStringResource(233), "Path");
  const auto battery = string_list(128);
  ASSERT_GE(battery.size(), 3u);
  EXPECT_NE(battery[0].find("%s"), std::string::npos);
  EXPECT_EQ(battery[1].find('%'), std::string::npos);
  EXPECT_NE(battery[2].find("%d"), std::string::npos);
  const auto control_panel = loadString("keyCorvexPath", "InfoPlist");
  ASSERT_TRUE(control_panel);
  EXPECT_EQ(control_panel->front(), '/');
  EXPECT_EQ(loadString("keyCorvexPath", "Strings"), std::nullopt);
}
#endif

}  // namespace
}  // namespace cx::test
