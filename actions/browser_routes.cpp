// The Apple-event routes to the front browser's page. Browsers answer with
// plain text, waited for without a time-out as the browsers of the day
// could take their time.
#include <algorithm>
#include <string_view>
#include <vector>

#include "actions/browser_url.h"
#include "platform/apple_event_lists.h"
#include "platform/processes.h"

namespace cx {
namespace {

using namespace platform;

constexpr OSType kWindowClass = fourcc("cwin");
constexpr OSType kDocumentClass = fourcc("docu");
constexpr OSType kOmniWebBrowserClass = fourcc("Owbc");
constexpr OSType kNameProperty = fourcc("pnam");
constexpr OSType kWindowURLProperty = fourcc("curl");
constexpr OSType kSafariURLProperty = fourcc("pURL");
constexpr OSType kOmniWebAddressProperty = fourcc("Owas");
constexpr OSType kGetData = fourcc("getd");
constexpr OSType kCoreSuite = fourcc("core");
constexpr OSType kSpyglassSuite = fourcc("WWW!");
constexpr OSType kListWindows = fourcc("LSTW");
constexpr OSType kWindowInfo = fourcc("WNFO");
constexpr OSType kMosaicSignature = fourcc("MOSS");

// What each family appends to its window titles, and Mosaic's prefix.
constexpr size_t kMozillaTitleSuffix = 33;
constexpr size_t kNetscape6TitleSuffix = 13;
constexpr size_t kMosaicTitlePrefix = 10;

struct Route {
  std::string_view name_part;  // case-sensitive, anywhere in the process name
  OSErr (*fetch)(std::string& url, std::string& title);
};

OSErr mozilla_route(std::string& url, std::string& title) {
  return get_mozilla_URL_info(url, title, false);
}
OSErr netscape6_route(std::string& url, std::string& title) {
  return get_mozilla_URL_info(url, title, true);
}

// Tried in order; the first match is taken, else the Spyglass suite.
constexpr Route kRoutes[] = {
    {"OmniWeb", get_omniweb_URL_info},
    {"Mozilla", mozilla_route},
    {"Netscape 6", netscape6_route},
    {"Safari", get_safari_URL_info},
};

OSErr front_info(ProcessInfo& info) {
  ProcessSerialNumber front{};
  if (const OSErr err = GetFrontProcess(&front); err != noErr) return err;
  return GetProcessInformation(&front, &info);
}

// Sends `event` to the front process and waits; the send's failure, else a
// non-zero `errn` of the reply.
OSErr ask_front(OSType suite, OSType id, const AEDesc* direct, AppleEvent& reply) {
  ProcessSerialNumber front{};
  if (const OSErr err = GetFrontProcess(&front); err != noErr) return err;
  AppleEvent event(suite, id, make_psn_desc(front));
  if (direct != nullptr) event.put_param(keyDirectObject, *direct);
  if (const OSErr err = apple_events().send(event, &reply, AESendMode::wait_reply, kNoTimeOut);
      err != noErr)
    return err;
  int32_t error_number = 0;
  if (reply.get_long(keyErrorNumber, error_number) == noErr && error_number != 0)
    return static_cast<OSErr>(error_number);
  return noErr;
}

std::string desc_text(const AEDesc& desc) {
  return std::string(desc.data.begin(), desc.data.end());
}

void drop_suffix(std::string& text, size_t count) {
  text.resize(text.size() - std::min(count, text.size()));
}

}  // namespace

OSErr get_browser_URL_info(std::string& text, OSType element_class, OSType property) {
  const AEDesc specifier = make_property_specifier(element_class, 1, property);
  AppleEvent reply;
  if (const OSErr err = ask_front(kCoreSuite, kGetData, &specifier, reply); err != noErr)
    return err;
  AEDesc answer;
  if (const OSErr err = reply.get_param(keyDirectObject, typeChar, answer); err != noErr)
    return err;
  text = desc_text(answer);
  return noErr;
}

OSErr get_omniweb_URL_info(std::string& url, std::string& title) {
  if (const OSErr err = get_browser_URL_info(title, kWindowClass, kNameProperty); err != noErr)
    return err;
  return get_browser_URL_info(url, kOmniWebBrowserClass, kOmniWebAddressProperty);
}

OSErr get_mozilla_URL_info(std::string& url, std::string& title, bool netscape6) {
  if (const OSErr err = get_browser_URL_info(title, kWindowClass, kNameProperty); err != noErr)
    return err;
  drop_suffix(title, netscape6 ? kNetscape6TitleSuffix : kMozillaTitleSuffix);
  return get_browser_URL_info(url, kWindowClass, kWindowURLProperty);
}

OSErr get_safari_URL_info(std::string& url, std::string& title) {
  if (const OSErr err = get_browser_URL_info(title, kWindowClass, kNameProperty); err != noErr)
    return err;
  return get_browser_URL_info(url, kDocumentClass, kSafariURLProperty);
}

OSErr get_spyglass_URL_info(std::string& url, std::string& title) {
  AppleEvent windows;
  if (const OSErr err = ask_front(kSpyglassSuite, kListWindows, nullptr, windows); err != noErr)
    return err;
  AEDesc list, window;
  if (const OSErr err = windows.get_param(keyDirectObject, typeAEList, list); err != noErr)
    return err;
  if (const OSErr err = get_nth_item(list, 1, typeSInt32, window); err != noErr) return err;
  AppleEvent info;
  if (const OSErr err = ask_front(kSpyglassSuite, kWindowInfo, &window, info); err != noErr)
    return err;
  AEDesc url_item, title_item;
  OSErr err = info.get_param(keyDirectObject, typeAEList, list);
  if (err == noErr) err = get_nth_item(list, 1, typeChar, url_item);
  if (err == noErr) err = get_nth_item(list, 2, typeChar, title_item);
  if (err != noErr) return err;
  url = desc_text(url_item);
  title = desc_text(title_item);
  ProcessInfo front{};
  if (front_info(front) == noErr && front.signature == kMosaicSignature)
    title.erase(0, std::min(kMosaicTitlePrefix, title.size()));
  return noErr;
}

OSErr get_top_URL_info(std::string& url, std::string& title) {
  ProcessInfo front{};
  if (const OSErr err = front_info(front); err != noErr) return err;
  const std::string_view name(reinterpret_cast<const char*>(front.name.data()) + 1, front.name[0]);
  const auto route = std::find_if(std::begin(kRoutes), std::end(kRoutes), [&](const Route& r) {
    return name.find(r.name_part) != std::string_view::npos;
  });
  const OSErr err =
      route != std::end(kRoutes) ? route->fetch(url, title) : get_spyglass_URL_info(url, title);
  // A front application that takes no Apple events may still describe its page.
  return err == procNotFound ? get_desktop_URL_info(url, title) : err;
}

}  // namespace cx
