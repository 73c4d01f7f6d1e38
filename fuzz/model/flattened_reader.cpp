// Runs a script of reads (and the odd write) over an arbitrary flattened
// record. Reads past the end must read zeros, never memory, and no read may
// allocate more than the record holds.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "model/flattened_data.h"

namespace {

using cx::fuzz::check;

void run(cx::CXFlattenedData& record, uint8_t op) {
  const uint32_t before = record.getSize();
  switch (op % 10) {
    case 0:
      record.readShort();
      break;
    case 1:
      record.readUByte();
      break;
    case 2:
      record.readULong();
      break;
    case 3:
      record.readBool();
      break;
    case 4: {
      cx::act_item_chain chain = record.readActItem();
      size_t walked = 0;
      for (const cx::act_item* item = chain.head(); item; item = item->link) ++walked;
      check(walked == chain.size() && walked <= before / 16 + 1);
      break;
    }
    case 5:
      record.readActionListInfo();
      break;
    case 6:
      record.readMouseVersionInfo();
      break;
    case 7: {
      uint32_t n = 0;
      check(record.readUnknownData(&n).size() == n && n <= before);
      break;
    }
    case 8:
      check(record.read(size_t{op} * 97).size() <= before);
      break;
    default:
      record.write(static_cast<int16_t>(op));
      break;
  }
  check(record.getSize() >= 4);
  // The block always describes itself correctly.
  cx::CXFlattenedData copy(record.getData(), record.getSize());
  check(copy.getSize() == record.getSize());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  const size_t op_count = input.ConsumeIntegralInRange<size_t>(0, 64);
  const std::vector<uint8_t> ops = input.ConsumeBytes<uint8_t>(op_count);
  const std::vector<uint8_t> flat = input.ConsumeRemainingBytes<uint8_t>();

  cx::CXFlattenedData record(flat.data(), flat.size());
  if (record.getSize() == 4) record.write(flat.data(), flat.size());
  for (uint8_t op : ops) run(record, op);
  return 0;
}
