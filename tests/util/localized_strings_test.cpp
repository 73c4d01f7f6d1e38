// Localised strings of the main bundle: the agent's own tables, a missing
// string as null, string lists, and the choice of language.
#include "util/localized_strings.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/support/scoped_env.h"

namespace cx::test {
namespace {

std::vector<std::string> string_list(int list_id) {
  std::vector<std::string> items;
  for (int i = 1; auto s = loadStrListResource(list_id, i); ++i) items.push_back(*s);
  return items;
}

TEST(LocalizedStrings, MissingStringsAreNullAndListsEndAtTheFirstGap) {
  ScopedEnv bundle("CORVEX_BUNDLE", CX_STRINGS_TEST_BUNDLE);
  ScopedEnv language("LANGUAGE", nullptr);
  EXPECT_EQ(loadStringResource(1), "One");
  EXPECT_EQ(loadStringResource(2), std::nullopt);  // not in the table
  EXPECT_EQ(loadStringResource(3), std::nullopt);  // equal to its key
  EXPECT_EQ(loadString("keyWide", "Strings"), "Bewegung “links”");
  EXPECT_EQ(loadString("keyStringID_1", "Other"), std::nullopt);
  EXPECT_EQ(string_list(5), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(loadStrListResource(5, 4), "d");
}

TEST(LocalizedStrings, UserLanguageThenEnglish) {
  ScopedEnv bundle("CORVEX_BUNDLE", CX_STRINGS_TEST_BUNDLE);
  const struct {
    const char *language, *lc_all, *one;
  } cases[] = {{"fr", nullptr, "Un"},
               {"de:fr", nullptr, "Un"},
               {nullptr, "fr_FR.UTF-8", "Un"},
               {nullptr, "de_DE.UTF-8", "One"}};
  for (const auto& c : cases) {
    ScopedEnv language("LANGUAGE", c.language);
    ScopedEnv messages("LC_ALL", c.lc_all);
    EXPECT_EQ(loadStringResource(1), c.one) << (c.language ? c.language : c.lc_all);
    EXPECT_EQ(loadStrListResource(5, 1), "a");  // not translated: English
    EXPECT_EQ(getenv("LANGUAGE") ? std::string(getenv("LANGUAGE")) : "",
              c.language ? c.language : "")
        << "left as it was";
  }
}

#ifdef CX_AGENT_BUNDLE
// The menu extra opens the control panel at this path; it is filled in when
// the bundle is built.
TEST(LocalizedStrings, AgentInfoPlistNamesTheControlPanelByItsPath) {
  ScopedEnv bundle("CORVEX_BUNDLE", CX_AGENT_BUNDLE);
  ScopedEnv language("LANGUAGE", nullptr);
  EXPECT_EQ(loadString("keyCorvexPath", "InfoPlist").value_or("").substr(0, 1), "/");
}
#endif

}  // namespace
}  // namespace cx::test
