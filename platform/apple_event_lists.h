// Lists, records and object specifiers as descriptor data. The Apple-event
// transport carries each parameter as one typed byte string, so a composite
// descriptor flattens its items into its data, big-endian:
//   `list`: u32 count, then per item u32 type, u32 length, the bytes;
//   records (`obj `): u32 count, then per item u32 keyword, u32 type,
//   u32 length, the bytes.
// An object specifier is a record of `want` (`type`: the class), `from` (the
// container: `null` or another specifier), `form` (`enum`) and `seld`.
#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "platform/apple_events.h"

namespace cx::platform {

constexpr OSType typeAEList = fourcc("list");
constexpr OSType typeObjectSpecifier = fourcc("obj ");
constexpr OSType typeType = fourcc("type");
constexpr OSType typeEnumerated = fourcc("enum");

constexpr OSType keyAEDesiredClass = fourcc("want");
constexpr OSType keyAEContainer = fourcc("from");
constexpr OSType keyAEKeyForm = fourcc("form");
constexpr OSType keyAEKeyData = fourcc("seld");
constexpr OSType cProperty = fourcc("prop");
constexpr OSType formAbsolutePosition = fourcc("indx");
constexpr OSType formPropertyID = fourcc("prop");

// Data that claims more than it holds.
constexpr OSErr errAECorruptData = -1702;
// An index outside a list.
constexpr OSErr errAEBadListItem = -1705;

AEDesc make_list_desc(std::span<const AEDesc> items);
// A record of (keyword, descriptor) items, as type `type`.
AEDesc make_record_desc(OSType type, std::span<const std::pair<OSType, AEDesc>> items);
AEDesc make_type_desc(OSType type, OSType code);

// Property `property` of element `index` of class `element_class` in the null
// container ("pnam of cwin 1").
AEDesc make_property_specifier(OSType element_class, int32_t index, OSType property);

// The items of a `list`: -1702 for data that does not add up, -1700 for
// another type.
OSErr list_items(const AEDesc& list, std::vector<AEDesc>& out);

// Item `index` (from 1) of a list, coerced to `wanted`: -1705 out of range.
OSErr get_nth_item(const AEDesc& list, int32_t index, OSType wanted, AEDesc& out);

}  // namespace cx::platform
