// Localised strings through gettext: each string table is a text domain
// (msgid = the key) whose catalogs live in the bundle's
// `Contents/Resources/locale/<language>/LC_MESSAGES/<table>.mo`.
//
// gettext translates nothing while the message locale is "C", which is where
// a program that never calls setlocale stays, and only "C" locales are sure
// to be installed. So the lookup runs under a "C.UTF-8" message locale with
// LANGUAGE naming the user's languages and then English, the bundle's
// development language, as CFBundle would choose among its localisations.
#include <libintl.h>
#include <locale.h>

#include <cstdlib>
#include <optional>
#include <string>

#include "platform/bundles.h"

// gettext's catalog generation: bumping it drops translations cached under
// another language list (the documented way to switch languages at run time).
extern "C" int _nl_msg_cat_cntr;

namespace cx::platform {
namespace {

constexpr const char* kDevelopmentLanguage = "en";

bool is_c_locale(std::string_view name) {
  return name.empty() || name == "C" || name == "POSIX" || name.starts_with("C.");
}

// The user's languages as gettext reads them, then the development one.
std::string language_list() {
  std::string list;
  auto add = [&list](std::string_view lang) {
    if (is_c_locale(lang)) return;
    if (!list.empty()) list += ':';
    list += lang;
  };
  const char* languages = std::getenv("LANGUAGE");
  if (languages && *languages) {
    std::string_view rest(languages);
    while (!rest.empty()) {
      const auto colon = rest.find(':');
      add(rest.substr(0, colon));
      rest = colon == std::string_view::npos ? std::string_view{} : rest.substr(colon + 1);
    }
  } else {
    for (const char* var : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
      const char* v = std::getenv(var);
      if (v && *v) {
        add(v);
        break;
      }
    }
  }
  add(kDevelopmentLanguage);
  return list;
}

// Sets LANGUAGE for one lookup and puts back what was there.
class LanguageOverride {
 public:
  explicit LanguageOverride(const std::string& list) {
    if (const char* old = std::getenv("LANGUAGE")) old_ = old;
    setenv("LANGUAGE", list.c_str(), 1);
  }
  ~LanguageOverride() {
    if (old_)
      setenv("LANGUAGE", old_->c_str(), 1);
    else
      unsetenv("LANGUAGE");
  }
  LanguageOverride(const LanguageOverride&) = delete;
  LanguageOverride& operator=(const LanguageOverride&) = delete;

 private:
  std::optional<std::string> old_;
};

// Makes this thread's message locale one that lets gettext translate.
class MessageLocale {
 public:
  MessageLocale() {
    static const locale_t messages = newlocale(LC_MESSAGES_MASK, "C.UTF-8", locale_t{});
    if (messages) previous_ = uselocale(messages);
  }
  ~MessageLocale() {
    if (previous_) uselocale(previous_);
  }
  MessageLocale(const MessageLocale&) = delete;
  MessageLocale& operator=(const MessageLocale&) = delete;

 private:
  locale_t previous_{};
};

}  // namespace

std::string Bundle::localized_string(std::string_view key, std::string_view table) const {
  const std::string domain(table);
  const std::string msgid(key);
  if (domain.empty() || msgid.empty()) return msgid;
  // A domain is bound to one folder at a time; binding again on every lookup
  // keeps each bundle's tables its own.
  const std::string catalogs = resources_path() + "/locale";
  bindtextdomain(domain.c_str(), catalogs.c_str());
  bind_textdomain_codeset(domain.c_str(), "UTF-8");
  const std::string list = language_list();
  static std::string last_list;
  if (list != last_list) {
    ++_nl_msg_cat_cntr;
    last_list = list;
  }
  MessageLocale locale;
  LanguageOverride languages(list);
  return dgettext(domain.c_str(), msgid.c_str());
}

}  // namespace cx::platform
