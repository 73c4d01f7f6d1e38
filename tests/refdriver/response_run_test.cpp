// Whole responses: SetResponseData stores runs of response blocks built by
// the agent's builders, and the Get...Response requests give them back.
#include <gtest/gtest.h>

#include <functional>

#include "model/builtin_actlists.h"
#include "model/response_block.h"
#include "refdriver/driver_status.h"
#include "refdriver/request_codes.h"
#include "tests/refdriver/handler_harness.h"

namespace cx::refdriver {
namespace {

using testing::Harness;
using testing::Wire;
namespace rq = request;

using Bytes = std::vector<uint8_t>;

Bytes build(const std::function<uint32_t(uint8_t*, uint32_t)>& builder) {
  Bytes b(4096);  // zero-filled, so the unwritten pad byte is 0
  b.resize(builder(b.data(), 4096));
  return b;
}

Bytes click(uint8_t button, uint8_t mods = 0) {
  return build([&](uint8_t* b, uint32_t n) {
    return build_click_response_block(b, n, mods, button, 0, false);
  });
}

Bytes url(uint8_t button, int entry, const char* text) {
  return build([&](uint8_t* b, uint32_t n) {
    return build_launch_url_response_block(b, n, 0, button, entry, button >= 18, text);
  });
}

Bytes menu(uint8_t button, uint16_t entries) {
  return build([&](uint8_t* b, uint32_t n) {
    return build_menu_response_block(b, n, 0, button, true, entries, "");
  });
}

Bytes home(uint8_t button, int entry) {
  return build([&](uint8_t* b, uint32_t n) {
    return build_actlist_response_block(b, n, 0, button, entry, true, home_page_actlist.data(), 1,
                                        "Home");
  });
}

Bytes cat(std::initializer_list<Bytes> blocks) {
  Bytes out;
  for (const Bytes& b : blocks) out.insert(out.end(), b.begin(), b.end());
  return out;
}

Bytes payload_of(const Bytes& block) {
  return Bytes(block.begin() + 4, block.end() - 2);
}

Bytes frame(const Bytes& payload) {
  Bytes b(payload.size() + 6);
  CXTransferContext ctx;
  CXTransferStart(&ctx, b.data(), static_cast<uint32_t>(b.size()));
  CXTransferAdd(&ctx, payload.data(), static_cast<uint32_t>(payload.size()));
  CXTransferEnd(&ctx);
  return b;
}

Wire button(uint8_t b, uint8_t mods, uint16_t entry = 0) {
  return std::move(Wire().u8(b).u8(mods).u16(entry));
}

int16_t set_responses(Harness& h, const Bytes& run) {
  return h.call(rq::SetResponseData, {run}).status;
}

TEST(ResponseRuns, ClicksAndUrlsComeBackByteForByte) {
  Harness h;
  const Bytes left = click(0);
  const Bytes web = url(2, 0, "http://example.com/");
  EXPECT_EQ(set_responses(h, cat({left, web})), 2);

  EXPECT_EQ(h.call(rq::GetSingleResponse, {button(0, 0, 0)}).data, left);
  EXPECT_EQ(h.call(rq::GetFullResponse, {button(2, 0)}).data, web);
  const auto all = h.call(rq::GetResponses, {Wire().u8(0).u8(25).u8(0).u8(0).u32(0)});
  EXPECT_EQ(all.status, 2);
  EXPECT_EQ(all.data, cat({left, web}));
  EXPECT_EQ(h.call(rq::GetResponses, {Wire().u8(1).u8(2).u8(0).u8(0).u32(0)}).status, 0);

  // In the driver the URL lives in a local dataspace that the item names.
  const auto list = h.call(rq::GetActionList, {button(2, 0)});
  ASSERT_EQ(list.data.size(), 18u);
  EXPECT_EQ(load_le16(&list.data[2 + 2]), 1);
  EXPECT_EQ(h.call(rq::GetDataSize, {Wire().u16(1).u16(0).u32(0)}).status, 20);
  EXPECT_EQ(h.call(rq::GetSingleResponse, {button(5, 0, 0)}).status, kNotFound);
}

TEST(ResponseRuns, PresetMenusUseGlobalDataspacesAndComeBackWhole) {
  Harness h;
  const Bytes run = cat({menu(18, 2), url(18, 1, "http://a.example/"), home(18, 2)});
  EXPECT_EQ(set_responses(h, run), 3);
  const auto full = h.call(rq::GetFullResponse, {button(18, 0)});
  EXPECT_EQ(full.status, 3);
  EXPECT_EQ(full.data, run);
  const auto entry = h.call(rq::GetMenuActionList, {button(18, 0, 1)});
  EXPECT_EQ(load_le16(&entry.data[2 + 2]), 256);
  EXPECT_EQ(h.call(rq::GetSingleResponse, {button(18, 0, 2)}).data, home(18, 2));

  // Storing it again and again reuses the space of what it replaces.
  for (int i = 0; i < 100; ++i) ASSERT_EQ(set_responses(h, run), 3);
  EXPECT_EQ(h.state.dataspaces.global().size(), 1u);

  // A shorter menu drops the entries beyond it, and their dataspaces.
  EXPECT_EQ(set_responses(h, cat({menu(18, 1), home(18, 1)})), 2);
  EXPECT_EQ(h.call(rq::GetMenuActionListSize, {button(18, 0, 2)}).status, 0);
  EXPECT_TRUE(h.state.dataspaces.global().empty());
  EXPECT_EQ(h.call(rq::GetFullResponse, {button(18, 0)}).data, cat({menu(18, 1), home(18, 1)}));

  // A menu entry never stored comes back empty, so the run keeps its shape.
  EXPECT_EQ(set_responses(h, menu(19, 2)), 1);
  const auto sparse = h.call(rq::GetFullResponse, {button(19, 0)});
  EXPECT_EQ(sparse.status, 3);
  EXPECT_EQ(sparse.data.size(), menu(19, 2).size() + 2 * (6 + 44));
}

TEST(ResponseRuns, ApplicationSetsAndModifiersAreSeparate) {
  Harness h;
  EXPECT_EQ(h.call(rq::CurrentEditApp, {Wire().str("safari").str("Safari")}).status, kDone);
  EXPECT_EQ(set_responses(h, cat({click(1, 2), url(3, 0, "file:///tmp/x")})), 2);
  const auto with_mods = h.call(rq::GetResponses, {Wire().u8(0).u8(25).u8(2).u8(0).u32(0)});
  EXPECT_EQ(with_mods.data, click(1, 2));
  EXPECT_EQ(h.call(rq::CurrentEditApp, {Wire().str("").str("")}).status, kDone);
  EXPECT_EQ(h.call(rq::GetResponses, {Wire().u8(0).u8(25).u8(2).u8(0).u32(0)}).status, 0);
  EXPECT_EQ(h.call(rq::GetFullResponse, {button(3, 0)}).status, kNotFound);
  // Deleting the set frees its dataspaces with it.
  EXPECT_EQ(h.state.budget.dataspace_bytes, 14u);
  EXPECT_EQ(h.call(rq::DeleteAppName, {Wire().str("safari")}).status, kDone);
  EXPECT_EQ(h.state.budget.dataspace_bytes, 0u);
  EXPECT_EQ(h.state.budget.responses, 0u);
}

TEST(ResponseRuns, MalformedRunsAreRefusedWhole) {
  const Bytes good = url(2, 0, "http://example.com/");
  const Bytes p = payload_of(good);  // header, one item, one dataspace block
  const size_t ds = 44 + 16;         // where the dataspace block starts
  auto patched = [&](const std::function<void(Bytes&)>& change) {
    Bytes q = p;
    change(q);
    return frame(q);
  };
  auto patched_dataspace = [&](const std::function<void(Bytes&)>& change) {
    Bytes q = p;
    Bytes inner = payload_of(Bytes(q.begin() + ds, q.end()));
    change(inner);
    q.resize(ds);
    const Bytes framed = frame(inner);
    q.insert(q.end(), framed.begin(), framed.end());
    return frame(q);
  };
  const std::vector<std::pair<const char*, Bytes>> cases = {
      {"truncated", Bytes(good.begin(), good.end() - 1)},
      {"bad checksum",
       [&] {
         Bytes b = good;
         b.back() ^= 1;
         return b;
       }()},
      {"bad nested checksum",
       [&] {
         Bytes q = p;
         q.back() ^= 1;
         return frame(q);
       }()},
      {"short header", frame(Bytes(p.begin(), p.begin() + 43))},
      {"more actions than bytes", patched([](Bytes& q) { store_be16(&q[40], 2); })},
      {"missing dataspace block", patched([](Bytes& q) { store_be16(&q[42], 2); })},
      {"extra bytes", patched([](Bytes& q) { q.push_back(0); })},
      {"menu index 256", patched([](Bytes& q) { store_be16(&q[2], 256); })},
      {"negative menu index", patched([](Bytes& q) { store_be16(&q[2], 0xFFFF); })},
      {"item names no dataspace", patched([](Bytes& q) { store_le16(&q[44 + 2], 5); })},
      {"ds_length too long", patched_dataspace([](Bytes& d) { store_be16(&d[2], 21); })},
      {"ds_length too short", patched_dataspace([](Bytes& d) { store_be16(&d[2], 19); })},
      {"dataspace header cut", patched_dataspace([](Bytes& d) { d.resize(3); })},
  };
  for (const auto& [what, bad] : cases) {
    SCOPED_TRACE(what);
    Harness h;
    EXPECT_EQ(set_responses(h, cat({click(0), bad})), kBadRequest);
    EXPECT_EQ(h.state.budget.responses, 0u);
    EXPECT_EQ(h.state.budget.dataspace_bytes, 0u);
  }

  // Two dataspace blocks with one index.
  Bytes twice = p;
  store_be16(&twice[42], 2);
  twice.insert(twice.end(), p.begin() + ds, p.end());
  Harness h;
  EXPECT_EQ(set_responses(h, frame(twice)), kBadRequest);
  EXPECT_EQ(set_responses(h, good), 1);
}

}  // namespace
}  // namespace cx::refdriver
