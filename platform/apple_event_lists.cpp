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

// Walks the flattened items of `desc`; `keyed` items start with a keyword.
template <typename Visit>
OSErr walk_items(const AEDesc& desc, bool keyed, Visit visit) {
  const std::vector<uint8_t>& d = desc.data;
  if (d.size() < 4) return errAECorruptData;
  const uint32_t count = load_be32(d.data());
  const size_t head = keyed ? 12 : 8;
  // Every item needs its head: a count beyond that is a lie, not a reason to allocate.
  if (count > (d.size() - 4) / head) return errAECorruptData;
  size_t at = 4;
  for (uint32_t i = 0; i < count; ++i) {
    if (d.size() - at < head) return errAECorruptData;
    const OSType keyword = keyed ? load_be32(&d[at]) : 0;
    const uint8_t* p = &d[at + head - 8];
    const uint32_t length = load_be32(p + 4);
    at += head;
    if (d.size() - at < length) return errAECorruptData;
    visit(keyword, AEDesc{load_be32(p), {d.begin() + at, d.begin() + at + length}});
    at += length;
  }
  return at == d.size() ? noErr : errAECorruptData;
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
  return walk_items(list, false, [&](OSType, AEDesc item) { out.push_back(std::move(item)); });
}

OSErr record_items(const AEDesc& record, std::vector<std::pair<OSType, AEDesc>>& out) {
  out.clear();
  if (record.descriptorType != typeAERecord && record.descriptorType != typeObjectSpecifier)
    return errAECoercionFail;
  return walk_items(record, true,
                    [&](OSType keyword, AEDesc item) { out.emplace_back(keyword, std::move(item)); });
}

OSErr get_nth_item(const AEDesc& list, int32_t index, OSType wanted, AEDesc& out) {
  std::vector<AEDesc> items;
  if (const OSErr err = list_items(list, items); err != noErr) return err;
  if (index < 1 || static_cast<size_t>(index) > items.size()) return errAEBadListItem;
  return coerce_desc(items[static_cast<size_t>(index) - 1], wanted, out);
}

}  // namespace cx::platform
