// The page of a browser that answers no Apple events (Firefox, Chromium on
// the Linux desktop): the title from its front window, the address from the
// accessibility tree, which both describe to assistive technology.
#include <string_view>

#include "actions/browser_url.h"
#include "platform/accessibility.h"
#include "platform/processes.h"

namespace cx {
namespace {

// What browsers append to the page title in their window titles.
constexpr std::string_view kBrowserTitleSuffixes[] = {
    " \u2014 Mozilla Firefox Private Browsing",
    " \u2014 Mozilla Firefox",
    " - Mozilla Firefox",
    " - Chromium",
    " - Google Chrome",
};

std::string page_title(std::string window_title) {
  for (const std::string_view suffix : kBrowserTitleSuffixes) {
    if (std::string_view(window_title).ends_with(suffix)) {
      window_title.resize(window_title.size() - suffix.size());
      break;
    }
  }
  return window_title;
}

}  // namespace

platform::OSErr get_desktop_URL_info(std::string& url, std::string& title) {
  using namespace platform;
  ProcessSerialNumber front{};
  std::string window_title;
  if (const OSErr err = GetFrontProcess(&front); err != noErr) return err;
  if (const OSErr err = processes().window_title(front, window_title); err != noErr) return err;
  std::string address;
  if (!accessibility().document_address(static_cast<pid_t>(front.lowLongOfPSN), address) ||
      address.empty())
    return procNotFound;
  url = std::move(address);
  title = page_title(std::move(window_title));
  return noErr;
}

}  // namespace cx
