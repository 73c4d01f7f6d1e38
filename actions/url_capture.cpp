// Capturing the front browser's page as a new entry of the pressed button's
// menu: the entry is stored in the driver, a notice stays up while the
// driver keeps the entry marked as fresh (3 to 10 seconds), and the
// preference file is written.
#include <cstddef>
#include <string>
#include <string_view>

#include "actions/browser_url.h"
#include "actions/driver_actions.h"
#include "actions/url_capture.h"
#include "driver/data_requests.h"
#include "platform/dialogs.h"
#include "platform/processes.h"
#include "prefs/button_repair.h"
#include "prefs/pref_files.h"
#include "util/byte_order.h"
#include "util/localized_strings.h"

namespace cx {
namespace {

// Driver record whose bit marks an entry just captured; the driver clears
// it on the user's next press.
constexpr int16_t kCaptureRecord = 90;
constexpr uint32_t kCaptureFresh = 0x1;
// Menu button numbers start at this data value.
constexpr int kFirstButtonValue = 0x11;
// The notice: headline string, and how long it stays, in ticks.
constexpr int kNoticeHeadline = 129;
constexpr int kFirstDraw = 2;
constexpr int kMinimumTicks = 180;
constexpr int kMaximumTicks = 600;
constexpr int kRoundTicks = 10;
// What the notice shows of the title and the address, in characters.
constexpr size_t kTitleShown = 31;
constexpr size_t kTitleCut = 29;
constexpr size_t kAddressShown = 48;
constexpr size_t kAddressCut = 48;
constexpr std::string_view kEllipsis = "\u2026";

bool is_continuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// `text` when it has at most `shown` characters, else its first `cut` - 1
// and an ellipsis. Characters are UTF-8 sequences.
std::string shorten(std::string_view text, size_t shown, size_t cut) {
  size_t characters = 0, keep = text.size();
  for (size_t i = 0; i < text.size(); ++i) {
    if (is_continuation(text[i])) continue;
    if (characters == cut - 1) keep = i;
    ++characters;
  }
  if (characters <= shown) return std::string(text);
  return std::string(text.substr(0, keep)) + std::string(kEllipsis);
}

void replace_all(std::string& text, std::string_view marker, std::string_view value) {
  for (size_t at = text.find(marker); at != std::string::npos;
       at = text.find(marker, at + value.size()))
    text.replace(at, marker.size(), value);
}

uint32_t read_capture_flags() {
  uint8_t record[4] = {};
  CXAccessGlobalData(kCaptureRecord, kDataModeRead, record, sizeof record);
  return load_be32(record);
}

void mark_capture_fresh() {
  uint8_t record[4] = {};
  store_be32(record, read_capture_flags() | kCaptureFresh);
  CXAccessGlobalData(kCaptureRecord, kDataModeWrite, record, sizeof record);
}

// Up at least the minimum, then while the driver keeps the entry fresh, but
// never beyond the maximum.
void keep_notice_up(platform::DialogWindow& notice, uint32_t flags) {
  for (int waited = 0;
       waited < kMaximumTicks && (waited < kMinimumTicks || (flags & kCaptureFresh) != 0);
       waited += kRoundTicks) {
    notice.pause(kRoundTicks);
    flags = read_capture_flags();
  }
}

void show_notice(const platform::CaptureNotice& texts, uint32_t flags) {
  using namespace platform;
  // Asked first: a window manager may hand the new notice the focus at once.
  ProcessSerialNumber front{}, self{};
  const bool had_front = GetFrontProcess(&front) == noErr;
  std::unique_ptr<DialogWindow> notice = dialogs().open_capture_notice(texts);
  if (!notice) return;
  notice->pause(kFirstDraw);
  GetCurrentProcess(&self);
  SetFrontProcess(&self);
  keep_notice_up(*notice, flags);
  notice.reset();
  if (had_front) SetFrontProcess(&front);
}

}  // namespace

platform::CaptureNotice capture_notice(int button, std::string_view url, std::string_view title) {
  platform::CaptureNotice notice{loadStringResource(kNoticeHeadline).value_or("^0"),
                                 shorten(title, kTitleShown, kTitleCut),
                                 "(" + shorten(url, kAddressShown, kAddressCut) + ")"};
  replace_all(notice.headline, "^0", std::to_string(button));
  return notice;
}

void get_cur_URL(const uint8_t* data, uint32_t length) {
  // The notice's wait runs the main loop; a capture pressed meanwhile is dropped.
  static bool capturing = false;
  if (capturing) return;
  // The data lives in the driver's reply buffer, which the next request reuses.
  const int value = length == 2 ? load_be16(data) : 0;
  const auto button = static_cast<uint8_t>(value);
  std::string url, title;
  if (get_top_URL_info(url, title) != platform::noErr || length != 2) return;
  capturing = true;
  uint32_t flags = 0;
  if (insert_easy_launch(0, button, url.c_str(), title.c_str(), false) == 1) {
    mark_capture_fresh();
    flags = kCaptureFresh;
  }
  show_notice(capture_notice(value - kFirstButtonValue, url, title), flags);
  write_plist_prefs(&pref_data);
  capturing = false;
}

}  // namespace cx
