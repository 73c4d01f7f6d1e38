#include "platform/apple_event_lists.h"

#include "util/byte_order.h"

namespace cx::platform {
namespace {

void append_be32(std::vector<uint8_t>& out, uint32_t value) {
  const size_t at = out.size();
  out.resize(at + 4);
  store_be32(out.data() + at, value);
}

void append_item(std::vector<uint8_t>& out, const AEDesc& item) {
  append_be32(out, item.descriptorType);
  append_be32(out, static_cast<uint32_t>(item.data.size()));
  out.insert(out.end(), item.data.begin(), item.data.end());
}

}  // namespace

AEDesc make_list_desc(std::span<const AEDesc> items) {
  AEDesc list{typeAEList, {}};
  append_be32(list.data, static_cast<uint32_t>(items.size()));
  for (const AEDesc& item : items) append_item(list.data, item);
  return list;
}

AEDesc make_record_desc(OSType type, std::span<const std::pair<OSType, AEDesc>> items) {
  AEDesc record{type, {}};
  append_be32(record.data, static_cast<uint32_t>(items.size()));
  for (const auto& [keyword, item] : items) {
    append_be32(record.data, keyword);
    append_item(record.data, item);
  }
  return record;
}

AEDesc make_type_desc(OSType type, OSType code) {
  AEDesc desc{type, std::vector<uint8_t>(4)};
  store_be32(desc.data.data(), code);
  return desc;
}

AEDesc make_property_specifier(OSType element_class, int32_t index, OSType property) {
  const std::pair<OSType, AEDesc> element[] = {
      {keyAEDesiredClass, make_type_desc(typeType, element_class)},
      {keyAEContainer, AEDesc{}},
      {keyAEKeyForm, make_type_desc(typeEnumerated, formAbsolutePosition)},
      {keyAEKeyData, make_long_desc(index)},
  };
  const std::pair<OSType, AEDesc> prop[] = {
      {keyAEDesiredClass, make_type_desc(typeType, cProperty)},
      {keyAEContainer, make_record_desc(typeObjectSpecifier, element)},
      {keyAEKeyForm, make_type_desc(typeEnumerated, formPropertyID)},
      {keyAEKeyData, make_type_desc(typeType, property)},
  };
  return make_record_desc(typeObjectSpecifier, prop);
}

OSErr list_items(const AEDesc& list, std::vector<AEDesc>& out) {
  out.clear();
  if (list.descriptorType != typeAEList) return errAECoercionFail;
  const std::vector<uint8_t>& d = list.data;
  if (d.size() < 4) return errAECorruptData;
  const uint32_t count = load_be32(d.data());
  // Every item needs its head: a count beyond that is a lie, not a reason to allocate.
  constexpr size_t kHead = 8;
  if (count > (d.size() - 4) / kHead) return errAECorruptData;
  size_t at = 4;
  for (uint32_t i = 0; i < count; ++i) {
    if (d.size() - at < kHead) return errAECorruptData;
    const OSType type = load_be32(&d[at]);
    const uint32_t length = load_be32(&d[at + 4]);
    at += kHead;
    if (d.size() - at < length) return errAECorruptData;
    out.push_back(AEDesc{type, {d.begin() + at, d.begin() + at + length}});
    at += length;
  }
  return at == d.size() ? noErr : errAECorruptData;
}

OSErr get_nth_item(const AEDesc& list, int32_t index, OSType wanted, AEDesc& out) {
  std::vector<AEDesc> items;
  if (const OSErr err = list_items(list, items); err != noErr) return err;
  if (index < 1 || static_cast<size_t>(index) > items.size()) return errAEBadListItem;
  return coerce_desc(items[static_cast<size_t>(index) - 1], wanted, out);
}

}  // namespace cx::platform
