#include "tools/corvexctl/response_text.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string_view>

#include "plist/text.h"
#include "responses/notation.h"
#include "responses/notation_tables.h"
#include "responses/resp_header.h"
#include "responses/resp_tables.h"
#include "responses/response_kinds.h"

namespace cx::corvexctl {
namespace {

using Dict = plist::Dictionary;

constexpr std::string_view kMenuKind = "MenuResponse";
constexpr std::string_view kMenuLabel = "Menu";
constexpr std::string_view kDouble = "Double";
constexpr std::string_view kDrag = "Drag";
constexpr std::string_view kFileScheme = "file://";
constexpr std::string_view kHexDigits = "0123456789abcdef";

bool same_name(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) ==
           std::tolower(static_cast<unsigned char>(y));
  });
}

template <class Table>
auto names_of(const Table& table) {
  std::vector<std::string_view> names;
  for (const auto& row : table) names.push_back(row.name);
  return names;
}

std::string joined(const std::vector<std::string>& words) {
  std::string out;
  for (const auto& word : words) out += (out.empty() ? "" : " ") + word;
  return out;
}

bool fail(std::string* error, std::string text) {
  *error = std::move(text);
  return false;
}

bool valid_text(std::string_view what, const std::string& text, std::string* error) {
  if (text.empty()) return fail(error, std::string(what) + " cannot be empty");
  if (const std::string defect = plist::text_defect(text, true); !defect.empty())
    return fail(error, std::string(what) + " '" + text + "' cannot be saved: " + defect);
  return true;
}

bool count_ok(const ResponseWords& w, size_t least, size_t most, std::string* error) {
  if (w.value.size() >= least && w.value.size() <= most) return true;
  const std::string wanted =
      least == most ? std::to_string(least) : std::to_string(least) + " to " + std::to_string(most);
  return fail(
      error, w.kind + " takes " + wanted + " value word(s), not " + std::to_string(w.value.size()));
}

std::string percent_encoded(std::string_view path) {
  std::string out;
  for (const unsigned char c : path) {
    if (std::isalnum(c) ||
        std::string_view("/-._~").find(static_cast<char>(c)) != std::string_view::npos) {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHexDigits[c >> 4];
      out += kHexDigits[c & 15];
    }
  }
  return out;
}

bool hex_bytes(std::string_view hex, std::vector<uint8_t>* bytes) {
  if (hex.size() % 2 != 0) return false;
  for (size_t i = 0; i < hex.size(); i += 2) {
    const size_t hi = kHexDigits.find(static_cast<char>(std::tolower(hex[i])));
    const size_t lo = kHexDigits.find(static_cast<char>(std::tolower(hex[i + 1])));
    if (hi == std::string_view::npos || lo == std::string_view::npos) return false;
    bytes->push_back(static_cast<uint8_t>(hi * 16 + lo));
  }
  return !bytes->empty();
}

// A file reference: a file:// URI as it stands, a path made into one, or
// other bytes (an alias record) written as <hex>.
bool file_reference(const std::string& word, plist::ValueRef* value, std::string* error) {
  std::vector<uint8_t> bytes;
  if (word.size() > 2 && word.front() == '<' && word.back() == '>') {
    if (!hex_bytes(std::string_view(word).substr(1, word.size() - 2), &bytes))
      return fail(error, "bad LaunchFile bytes '" + word + "'; accepted: <hex digits, in pairs>");
  } else {
    std::string uri = word;
    if (!word.starts_with(kFileScheme)) {
      if (word.empty() || word.find(':') != std::string::npos)
        return fail(error, "bad LaunchFile value '" + word +
                               "'; accepted: a path, a file:// URI, <hex bytes>");
      uri = std::string(kFileScheme) +
            percent_encoded(std::filesystem::absolute(word).lexically_normal().string());
    }
    if (!valid_text("LaunchFile", uri, error)) return false;
    bytes.assign(uri.begin(), uri.end());
  }
  *value = plist::make_data(std::move(bytes));
  return true;
}

bool keystrokes(const ResponseWords& w, plist::ValueRef* value, std::string* error) {
  auto list = plist::make_array();
  for (const std::string& word : w.value) {
    uint8_t mods = 0;
    uint16_t code = 0;
    if (!extract_keystroke(word, &mods, &code)) {
      return fail(error, "bad keystroke '" + word +
                             "'; accepted: [Shift+][Cmd+][Ctrl+][Option+]"
                             "[CapsLock+]KEY, KEY one of " +
                             word_list(keystroke_strings));
    }
    list->append(plist::make_string(*build_keystroke(code, mods)));
  }
  *value = list;
  return true;
}

bool more_clicks(const ResponseWords& w, plist::ValueRef* value, std::string* error) {
  constexpr uint16_t kClickRestrictions = MODIFIERS_NO_KEYSTROKES | MODIFIERS_NO_CLICKS;
  std::optional<std::string> rest;
  const uint8_t mods = extract_modifiers(&rest, w.value[0], kClickRestrictions);
  const auto row = std::ranges::find_if(
      moreclicks_table, [&](const moreclicks_row& r) { return rest && same_name(r.name, *rest); });
  if (row == moreclicks_table.end()) {
    return fail(error, "bad click '" + w.value[0] + "'; accepted: [Shift+][Cmd+][Ctrl+][Option+]" +
                           "CLICK, CLICK one of " + word_list(names_of(moreclicks_table)));
  }
  bool is_double = false;
  bool is_drag = false;
  for (size_t i = 1; i < w.value.size(); ++i) {
    bool& flag = same_name(w.value[i], kDouble) ? is_double : is_drag;
    if ((!same_name(w.value[i], kDouble) && !same_name(w.value[i], kDrag)) || flag)
      return fail(error,
                  "bad click option '" + w.value[i] + "'; accepted: Double, Drag (once each)");
    flag = true;
  }
  auto dict = plist::make_dictionary();
  if (mods != 0)
    dict->set("Modifiers", plist::make_string(*prepend_modifiers(mods, kClickRestrictions, {})));
  dict->set("ClickID", plist::make_string(std::string(row->name)));
  dict->set(kDouble, plist::make_bool(is_double));
  dict->set(kDrag, plist::make_bool(is_drag));
  *value = dict;
  return true;
}

bool response_value(const ResponseWords& w, plist::ValueRef* value, std::string* error) {
  if (w.kind == kMenuKind) {
    if (!count_ok(w, 0, 0, error)) return false;
    if (w.entries.empty())
      return fail(error, "MenuResponse takes its entries as --entry KIND VALUE");
    auto entries = plist::make_array();
    for (const ResponseWords& entry : w.entries) {
      if (entry.kind == kMenuKind) return fail(error, "a menu entry cannot be a MenuResponse");
      auto dict = response_dictionary(entry, error);
      if (!dict) return false;
      entries->append(dict);
    }
    *value = entries;
    return true;
  }
  if (w.kind == "StandardResponse") {
    if (!count_ok(w, 1, 1, error)) return false;
    const auto names = names_of(stdresp_table);
    if (std::ranges::find(names, w.value[0]) == names.end())
      return fail(error,
                  "bad standard response '" + w.value[0] + "'; accepted: " + word_list(names));
    *value = plist::make_string(w.value[0]);
    return true;
  }
  if (w.kind == "LaunchURL" || w.kind == "PasteText") {
    if (!count_ok(w, 1, 1, error) || !valid_text(w.kind, w.value[0], error)) return false;
    *value = plist::make_string(w.value[0]);
    return true;
  }
  if (w.kind == "Keystrokes") return count_ok(w, 1, 255, error) && keystrokes(w, value, error);
  if (w.kind == "MoreClicks") return count_ok(w, 1, 3, error) && more_clicks(w, value, error);
  if (w.kind == "LaunchFile")
    return count_ok(w, 1, 1, error) && file_reference(w.value[0], value, error);
  return fail(error, "unknown kind '" + w.kind + "'; accepted: " + word_list(names_of(resp_table)));
}

// The label a response gets when none is given, cut as the driver's name
// field cuts it.
std::string derived_label(const ResponseWords& w) {
  resp_work work;
  set_resp_name(&work, w.kind == kMenuKind ? std::string(kMenuLabel) : joined(w.value));
  return std::string(resp_name(work));
}

std::string file_reference_word(const std::vector<uint8_t>& bytes) {
  const std::string text(bytes.begin(), bytes.end());
  if (text.starts_with(kFileScheme) && plist::text_defect(text, true).empty()) return text;
  std::string hex = "<";
  for (const uint8_t b : bytes) {
    hex += kHexDigits[b >> 4];
    hex += kHexDigits[b & 15];
  }
  return hex + ">";
}

std::vector<std::string> click_words(const Dict& click) {
  const auto* mods = plist::as<plist::String>(click.get("Modifiers"));
  const auto* id = plist::as<plist::String>(click.get("ClickID"));
  std::string first = id ? id->text() : std::string(moreclicks_table[0].name);
  if (mods) first = mods->text() + "+" + first;
  std::vector<std::string> words{first};
  for (const std::string_view key : {kDouble, kDrag}) {
    const auto* flag = plist::as<plist::Boolean>(click.get(key));
    if (flag && flag->value()) words.emplace_back(key);
  }
  return words;
}

void fill_value(const std::string& kind, const plist::ValueRef& value, ResponseWords* w) {
  if (const auto* text = plist::as<plist::String>(value)) {
    w->value = {text->text()};
  } else if (const auto* data = plist::as<plist::Data>(value)) {
    w->value = {file_reference_word(data->bytes())};
  } else if (const auto* click = plist::as<plist::Dictionary>(value)) {
    w->value = click_words(*click);
  } else if (const auto* list = plist::as<plist::Array>(value)) {
    for (const plist::ValueRef& item : list->items()) {
      if (const auto* entry = plist::as<plist::Dictionary>(item); entry && kind == kMenuKind)
        w->entries.push_back(response_words(*entry));
      else if (const auto* key = plist::as<plist::String>(item))
        w->value.push_back(key->text());
    }
  }
}

}  // namespace

std::shared_ptr<Dict> response_dictionary(const ResponseWords& words, std::string* error) {
  plist::ValueRef value;
  if (!response_value(words, &value, error)) return nullptr;
  // Derived from the value as stored, so that show can tell it apart.
  ResponseWords stored;
  stored.kind = words.kind;
  fill_value(words.kind, value, &stored);
  const std::string label = words.label.value_or(derived_label(stored));
  if (!label.empty() && !valid_text("label", label, error)) return nullptr;
  auto response = plist::make_dictionary();
  response->set(words.kind, value);
  auto dict = plist::make_dictionary();
  dict->set("ButtonLabel", plist::make_string(label));
  // The response builders set the flags word themselves (Global for the
  // preset buttons), whatever the dictionary names.
  dict->set("ResponseFlags", plist::make_string(std::string(respflag_table[0].name)));
  dict->set("Response", response);
  return dict;
}

ResponseWords response_words(const Dict& dict) {
  ResponseWords w;
  if (const auto* response = plist::as<Dict>(dict.get("Response"));
      response && !response->empty()) {
    w.kind = response->entries().front().first;
    fill_value(w.kind, response->entries().front().second, &w);
  }
  if (const auto* label = plist::as<plist::String>(dict.get("ButtonLabel"));
      label && label->text() != derived_label(w))
    w.label = label->text();
  if (const auto* flags = plist::as<plist::String>(dict.get("ResponseFlags"));
      flags && flags->text() != respflag_table[0].name)
    w.flags = flags->text();
  return w;
}

std::string shell_word(const std::string& word) {
  const bool plain = !word.empty() && std::ranges::all_of(word, [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) ||
           std::string_view("+-_./:=,@%").find(c) != std::string_view::npos;
  });
  if (plain) return word;
  std::string out = "'";
  for (const char c : word) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

}  // namespace cx::corvexctl
