#include "cpanel/ae_params.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace cx {

using platform::AEDesc;
using platform::OSErr;

namespace {

OSErr copy_param(const platform::AppleEvent& event, platform::OSType keyword, platform::OSType type,
                 uint8_t* out, size_t max, size_t* size) {
  AEDesc desc;
  if (const OSErr err = event.get_param(keyword, type, desc); err != platform::noErr) return err;
  std::copy_n(desc.data.begin(), std::min(max, desc.data.size()), out);
  if (size != nullptr) *size = desc.data.size();
  return platform::noErr;
}

}  // namespace

OSErr get_byte_param(const platform::AppleEvent& event, platform::OSType keyword, uint8_t& out) {
  // A number arrives as TEXT of its own width; its first byte is taken.
  return copy_param(event, keyword, platform::typeChar, &out, 1, nullptr);
}

OSErr get_bytes_param(const platform::AppleEvent& event, platform::OSType keyword, uint8_t* out,
                      size_t max, size_t* size) {
  return copy_param(event, keyword, platform::typeWildCard, out, max, size);
}

OSErr put_reply_param(platform::AppleEvent& reply, platform::OSType keyword, AEDesc desc) {
  if (reply.is_null()) return platform::errAEDescNotFound;
  return reply.put_param(keyword, std::move(desc));
}

OSErr put_reply_shor(platform::AppleEvent& reply, int16_t value) {
  return put_reply_param(reply, platform::keyDirectObject, platform::make_shor_desc(value));
}

OSErr put_reply_bytes(platform::AppleEvent& reply, platform::OSType keyword, const uint8_t* bytes,
                      size_t size) {
  std::vector<uint8_t> data;
  if (size > 0) data.assign(bytes, bytes + size);
  return put_reply_param(reply, keyword,
                         platform::make_bytes_desc(platform::typeWildCard, std::move(data)));
}

}  // namespace cx
