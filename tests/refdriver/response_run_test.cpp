// Whole responses: SetResponseData stores runs of response blocks built by
// the agent's builders, and the Get...Response requests give them back.
#include <gtest/gtest.h>

#include "tests/refdriver/handler_harness.h"

namespace cx::refdriver {
namespace {

using namespace testing;

Wire buttons(uint8_t first, uint8_t end, uint8_t mods) {
  return std::move(Wire().u8(first).u8(end).u8(mods).u8(0).u32(0));
}

TEST(ResponseRuns, ClicksAndUrlsComeBackByteForByte) {
  Harness h;
  const Bytes left = click_block(0);
  const Bytes web = url_block(2, 0, "http://example.com/");
  EXPECT_EQ(h.call(rq::SetResponseData, {cat({left, web})}).status, 2);

  EXPECT_EQ(h.data(rq::GetSingleResponse, button(0, 0, 0)), left);
  EXPECT_EQ(h.data(rq::GetFullResponse, button(2, 0)), web);
  EXPECT_EQ(h.data(rq::GetResponses, buttons(0, 25, 0)), cat({left, web}));
  h.steps({{rq::GetResponses, buttons(0, 25, 0), 2},
           {rq::GetResponses, buttons(1, 2, 0), 0},
           {rq::GetResponses, buttons(0, 25, 2), 0},  // other modifiers
           {rq::GetSingleResponse, button(5, 0, 0), kNotFound},
           {rq::GetDataSize, Wire().u16(1).u16(0).u32(0), 20}});
  // In the driver the URL lives in a local dataspace that the item names.
  const Bytes list = h.data(rq::GetActionList, button(2, 0));
  ASSERT_EQ(list.size(), 18u);
  EXPECT_EQ(load_le16(&list[2 + 2]), 1);
}

TEST(ResponseRuns, PresetMenusUseGlobalDataspacesAndComeBackWhole) {
  Harness h;
  const Bytes run =
      cat({menu_block(18, 2), url_block(18, 1, "http://a.example/"), home_block(18, 2)});
  EXPECT_EQ(h.call(rq::SetResponseData, {run}).status, 3);
  EXPECT_EQ(h.call(rq::GetFullResponse, {button(18, 0)}).status, 3);
  EXPECT_EQ(h.data(rq::GetFullResponse, button(18, 0)), run);
  EXPECT_EQ(load_le16(&h.data(rq::GetMenuActionList, button(18, 0, 1))[2 + 2]), 256);
  EXPECT_EQ(h.data(rq::GetSingleResponse, button(18, 0, 2)), home_block(18, 2));

  // Storing it again and again reuses the space of what it replaces.
  for (int i = 0; i < 100; ++i) ASSERT_EQ(h.call(rq::SetResponseData, {run}).status, 3);
  EXPECT_EQ(h.state.dataspaces.global().size(), 1u);

  // A shorter menu drops the entries beyond it, and their dataspaces.
  const Bytes shorter = cat({menu_block(18, 1), home_block(18, 1)});
  EXPECT_EQ(h.call(rq::SetResponseData, {shorter}).status, 2);
  EXPECT_EQ(h.call(rq::GetMenuActionListSize, {button(18, 0, 2)}).status, 0);
  EXPECT_TRUE(h.state.dataspaces.global().empty());
  EXPECT_EQ(h.data(rq::GetFullResponse, button(18, 0)), shorter);

  // A menu entry never stored comes back empty, so the run keeps its shape.
  EXPECT_EQ(h.call(rq::SetResponseData, {menu_block(19, 2)}).status, 1);
  const Answer sparse = h.call(rq::GetFullResponse, {button(19, 0)});
  EXPECT_EQ(sparse.status, 3);
  EXPECT_EQ(sparse.data.size(), menu_block(19, 2).size() + 2 * (6 + 44));
}

Bytes frame(const Bytes& payload) {
  Bytes b(payload.size() + 6);
  CXTransferContext ctx;
  CXTransferStart(&ctx, b.data(), static_cast<uint32_t>(b.size()));
  CXTransferAdd(&ctx, payload.data(), static_cast<uint32_t>(payload.size()));
  CXTransferEnd(&ctx);
  return b;
}

TEST(ResponseRuns, MalformedRunsAreRefusedWithNothingStored) {
  const Bytes good = url_block(2, 0, "http://example.com/");
  // The block's payload: header, one item, then the dataspace block from 60
  // (whose own payload starts at 64).
  const Bytes p(good.begin() + 4, good.end() - 2);
  const auto patched = [&](size_t at, std::initializer_list<uint8_t> bytes) {
    Bytes q = p;
    std::copy(bytes.begin(), bytes.end(), q.begin() + at);
    return q;
  };
  // The block with another dataspace block payload (ds_index 0, ds_length 20, the URL).
  const Bytes ds(p.begin() + 64, p.end() - 2);
  const auto dataspace = [&](size_t length, uint8_t ds_length) {
    Bytes inner = ds;
    inner[3] = ds_length;
    inner.resize(length);
    return frame(cat({Bytes(p.begin(), p.begin() + 60), frame(inner)}));
  };
  Bytes bad_checksum = good, nested_checksum = p, extra = p, twice = patched(42, {0, 2});
  bad_checksum.back() ^= 1;
  nested_checksum.back() ^= 1;
  extra.push_back(0);
  twice.insert(twice.end(), p.begin() + 60, p.end());
  const std::pair<const char*, Bytes> cases[] = {
      {"truncated", Bytes(good.begin(), good.end() - 1)},
      {"bad checksum", bad_checksum},
      {"bad nested checksum", frame(nested_checksum)},
      {"short header", frame(Bytes(p.begin(), p.begin() + 43))},
      {"more actions than bytes", frame(patched(40, {0, 2}))},
      {"missing dataspace block", frame(patched(42, {0, 2}))},
      {"extra bytes", frame(extra)},
      {"menu index 256", frame(patched(2, {1, 0}))},
      {"negative menu index", frame(patched(2, {0xFF, 0xFF}))},
      {"item names no dataspace", frame(patched(44 + 2, {5, 0}))},
      {"ds_length too long", dataspace(ds.size(), 21)},
      {"ds_length too short", dataspace(ds.size(), 19)},
      {"dataspace header cut", dataspace(3, 20)},
      {"two dataspace blocks with one index", frame(twice)},
  };
  for (const auto& [what, bad] : cases) {
    SCOPED_TRACE(what);
    Harness h;
    EXPECT_EQ(h.call(rq::SetResponseData, {cat({click_block(0), bad})}).status, kBadRequest);
    EXPECT_EQ(h.state.budget.responses, 0u);
    EXPECT_EQ(h.state.budget.dataspace_bytes, 0u);
    EXPECT_EQ(h.call(rq::SetResponseData, {good}).status, 1);
  }
}

}  // namespace
}  // namespace cx::refdriver
