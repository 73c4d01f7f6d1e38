// One button response as command-line words, in the preference file's own
// notation (kind names, standard response names, Shift+Cmd+W, ...), and the
// response dictionary of the preference file that those words stand for.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plist/value.h"

namespace cx::corvexctl {

struct ResponseWords {
  std::string kind;
  std::vector<std::string> value;
  std::optional<std::string> label;    // derived from the value when absent
  std::optional<std::string> flags;    // as shown; bind leaves them to the kind
  std::vector<ResponseWords> entries;  // a menu's
};

// The response dictionary ("ButtonLabel", "ResponseFlags", "Response"), or
// null and one line naming the bad word and the accepted ones.
std::shared_ptr<plist::Dictionary> response_dictionary(const ResponseWords& words,
                                                       std::string* error);

// The words back from a response dictionary; a menu's entries in order.
// `label` and `flags` stay empty where the words would derive them.
ResponseWords response_words(const plist::Dictionary& response);

// A word as a shell would need it to come back as one word.
std::string shell_word(const std::string& word);

// "a, b, c"
template <class Range>
std::string word_list(const Range& names) {
  std::string out;
  for (const auto& name : names) {
    if (!out.empty()) out += ", ";
    out += name;
  }
  return out;
}

}  // namespace cx::corvexctl
