// The platform-independent part of Apple events: descriptors, coercion,
// parameters and the handler table.
#include "platform/apple_events.h"

#include <cstdio>
#include <limits>

#include "util/byte_order.h"

namespace cx::platform {

std::string fourcc_text(OSType code) {
  std::string text(4, ' ');
  for (int i = 0; i < 4; ++i) text[i] = static_cast<char>(code >> (24 - 8 * i));
  return text;
}

AEDesc make_shor_desc(int16_t value) {
  AEDesc desc{typeSInt16, std::vector<uint8_t>(2)};
  store_be16(desc.data.data(), static_cast<uint16_t>(value));
  return desc;
}

AEDesc make_long_desc(int32_t value) {
  AEDesc desc{typeSInt32, std::vector<uint8_t>(4)};
  store_be32(desc.data.data(), static_cast<uint32_t>(value));
  return desc;
}

AEDesc make_text_desc(std::string_view bytes) {
  return AEDesc{typeChar, std::vector<uint8_t>(bytes.begin(), bytes.end())};
}

AEDesc make_cstr_desc(std::string_view text) {
  AEDesc desc{typeCString, std::vector<uint8_t>(text.begin(), text.end())};
  desc.data.push_back(0);
  return desc;
}

AEDesc make_bytes_desc(OSType type, std::vector<uint8_t> bytes) {
  return AEDesc{type, std::move(bytes)};
}

AEDesc make_psn_desc(ProcessSerialNumber psn) {
  AEDesc desc{typeProcessSerialNumber, std::vector<uint8_t>(8)};
  store_be32(desc.data.data(), psn.highLongOfPSN);
  store_be32(desc.data.data() + 4, psn.lowLongOfPSN);
  return desc;
}

AEDesc make_signature_desc(OSType signature) {
  AEDesc desc{typeApplSignature, std::vector<uint8_t>(4)};
  store_be32(desc.data.data(), signature);
  return desc;
}

namespace {

// The numeric value of a `shor`, `long` or 2- or 4-byte `TEXT`; false otherwise.
bool numeric_value(const AEDesc& desc, int32_t& value) {
  const size_t size = desc.data.size();
  const bool is_shor =
      (desc.descriptorType == typeSInt16 || desc.descriptorType == typeChar) && size == 2;
  const bool is_long =
      (desc.descriptorType == typeSInt32 || desc.descriptorType == typeChar) && size == 4;
  if (is_shor) {
    value = static_cast<int16_t>(load_be16(desc.data.data()));
  } else if (is_long) {
    value = static_cast<int32_t>(load_be32(desc.data.data()));
  }
  return is_shor || is_long;
}

bool is_numeric_type(OSType type) {
  return type == typeSInt16 || type == typeSInt32 || type == typeChar;
}

}  // namespace

OSErr coerce_desc(const AEDesc& in, OSType wanted, AEDesc& out) {
  if (wanted == in.descriptorType || wanted == typeWildCard) {
    out = in;
    return noErr;
  }
  int32_t value = 0;
  if (!is_numeric_type(wanted) || !is_numeric_type(in.descriptorType) ||
      !numeric_value(in, value)) {
    return errAECoercionFail;
  }
  if (wanted == typeSInt32) {
    out = make_long_desc(value);
  } else if (wanted == typeSInt16) {
    if (value < std::numeric_limits<int16_t>::min() || value > std::numeric_limits<int16_t>::max())
      return errAECoercionFail;
    out = make_shor_desc(static_cast<int16_t>(value));
  } else {
    // A number becomes TEXT of its own width: the bytes as they travel.
    out = AEDesc{typeChar, in.data};
  }
  return noErr;
}

OSErr desc_to_shor(const AEDesc& desc, int16_t& out) {
  AEDesc shor;
  if (const OSErr err = coerce_desc(desc, typeSInt16, shor); err != noErr) return err;
  if (shor.data.size() != 2) return errAECoercionFail;
  out = static_cast<int16_t>(load_be16(shor.data.data()));
  return noErr;
}

OSErr desc_to_long(const AEDesc& desc, int32_t& out) {
  AEDesc lng;
  if (const OSErr err = coerce_desc(desc, typeSInt32, lng); err != noErr) return err;
  if (lng.data.size() != 4) return errAECoercionFail;
  out = static_cast<int32_t>(load_be32(lng.data.data()));
  return noErr;
}

OSErr desc_to_psn(const AEDesc& desc, ProcessSerialNumber& out) {
  if (desc.descriptorType != typeProcessSerialNumber || desc.data.size() != 8)
    return errAECoercionFail;
  out.highLongOfPSN = load_be32(desc.data.data());
  out.lowLongOfPSN = load_be32(desc.data.data() + 4);
  return noErr;
}

OSErr AppleEvent::put_param(OSType keyword, AEDesc desc) {
  if (is_null()) return errAEWrongDataType;
  const auto found = index_.find(keyword);
  const size_t replaced = found == index_.end() ? 0 : params_[found->second].second.data.size();
  if ((found == index_.end() && params_.size() == kMaxAEParameters) ||
      data_size_ - replaced + desc.data.size() > kMaxAEDataSize)
    return paramErr;
  data_size_ = data_size_ - replaced + desc.data.size();
  if (found != index_.end()) {
    params_[found->second].second = std::move(desc);
  } else {
    index_.emplace(keyword, params_.size());
    params_.emplace_back(keyword, std::move(desc));
  }
  return noErr;
}

const AEDesc* AppleEvent::find_param(OSType keyword) const {
  const auto found = index_.find(keyword);
  return found == index_.end() ? nullptr : &params_[found->second].second;
}

OSErr AppleEvent::get_param(OSType keyword, OSType wanted, AEDesc& out) const {
  const AEDesc* desc = find_param(keyword);
  if (desc == nullptr) return errAEDescNotFound;
  return coerce_desc(*desc, wanted, out);
}

OSErr AppleEvent::get_shor(OSType keyword, int16_t& out) const {
  const AEDesc* desc = find_param(keyword);
  return desc == nullptr ? errAEDescNotFound : desc_to_shor(*desc, out);
}

OSErr AppleEvent::get_long(OSType keyword, int32_t& out) const {
  const AEDesc* desc = find_param(keyword);
  return desc == nullptr ? errAEDescNotFound : desc_to_long(*desc, out);
}

OSErr AEHandlerTable::install(OSType event_class, OSType event_id, AEEventHandlerProc handler,
                              intptr_t refcon, const char* exception_line) {
  if (handler == nullptr) return paramErr;
  entries_[{event_class, event_id}] = Entry{handler, refcon, exception_line};
  return noErr;
}

OSErr AEHandlerTable::remove(OSType event_class, OSType event_id) {
  return entries_.erase({event_class, event_id}) == 1 ? noErr : errAEEventNotHandled;
}

bool AEHandlerTable::has_handler(OSType event_class, OSType event_id) const {
  return entries_.count({event_class, event_id}) == 1;
}

OSErr AEHandlerTable::dispatch(const AppleEvent& event, AppleEvent& reply) const {
  OSErr result = errAEEventNotHandled;
  const auto it = entries_.find({event.event_class(), event.event_id()});
  if (it != entries_.end()) {
    const Entry& entry = it->second;
    try {
      result = entry.handler(event, reply, entry.refcon);
    } catch (...) {
      // A handler must never take the event loop down with it.
      if (entry.exception_line != nullptr) {
        std::fputs(entry.exception_line, stdout);
        std::fflush(stdout);
      }
      result = errAEEventFailed;
    }
  }
  if (result != noErr && !reply.is_null()) reply.put_long(keyErrorNumber, result);
  return result;
}

}  // namespace cx::platform
