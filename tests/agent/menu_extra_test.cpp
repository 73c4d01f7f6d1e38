// The menu-extra glue against the reference driver served in this process,
// with a stand-in helper bundle that records its calls, in a host bundle
// whose control-panel path names a script that leaves a mark.
#include "agent/menu_extra.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "driver/device_descriptor.h"
#include "platform/preferences.h"
#include "plist/plist_io.h"
#include "tests/support/agent_link.h"
#include "tests/support/reference_driver.h"
#include "tests/support/temp_dir.h"
#include "util/byte_order.h"

namespace {

std::string g_calls;

}  // namespace

// Called by the stand-in helper; the test executable exports it.
extern "C" void menu_extra_test_record(const char* call, intptr_t argument) {
  g_calls += call;
  if (std::strcmp(call, "initializeBundle") == 0)
    g_calls +=
        argument == reinterpret_cast<intptr_t>(&cx::menuExtraCallback) ? "(callback)" : "(?)";
  else if (std::strcmp(call, "setVisible") == 0)
    g_calls += "(" + std::to_string(argument) + ")";
  g_calls += ' ';
}

namespace cx::test {
namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

constexpr char kPanelDomain[] = "com.velcorra.corvex.prefpane";
constexpr int16_t kScrollItem = 13;

class AgentMenuExtra : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("CORVEX_BUNDLE", CX_MENU_EXTRA_HOST, 1);
    setenv("XDG_CONFIG_HOME", dir_.path().c_str(), 1);
    g_calls.clear();
    menuExtraVisible = 0;
    menuExtraHasWheel = false;
  }
  void TearDown() override {
    unloadMenuExtraBundle();
    link_.reset();
    for (const char* name :
         {"CORVEX_BUNDLE", "XDG_CONFIG_HOME", "CORVEX_SYSTEM_VERSION", "CX_OPEN_MARK"})
      unsetenv(name);
  }

  // A fresh driver with these devices attached (true: it has a wheel) and
  // global item 13.
  void serve(const std::vector<bool>& wheels, uint16_t scroll_item = 0) {
    link_.reset();
    driver_ = std::make_unique<ReferenceDriver>([&](refdriver::DriverState& state) {
      std::vector<uint8_t> table(wheels.size() * kDeviceRecordSize);
      for (size_t i = 0; i < wheels.size(); ++i) {
        dev_desc d;
        set_dev_desc_default(d);
        std::strcpy(d.ProductID.data(), "Mouse");
        std::strcpy(d.VendorID.data(), "Corvex");
        d.UniqueID = static_cast<uint32_t>(i + 1);
        d.HasWheel = wheels[i];
        encode_dev_desc(d, std::span<uint8_t, kDeviceRecordSize>(&table[i * kDeviceRecordSize],
                                                                 kDeviceRecordSize));
      }
      ASSERT_TRUE(state.devices.replace(table, wheels.size()));
      uint8_t item[2];
      store_be16(item, scroll_item);
      state.globals.write(kScrollItem, item);
    });
    ASSERT_TRUE(driver_->running()) << driver_->error();
    link_ = std::make_unique<AgentLink>(driver_->dir());
  }

  uint16_t scroll_item() const {
    std::vector<uint8_t> out;
    driver_->state().globals.read(kScrollItem, 2, out);
    return out.size() == 2 ? load_be16(out.data()) : 0xFFFF;
  }

  // The control panel's "keyHideMenuExtra", or no file at all.
  void store_hide_switch(const plist::ValueRef& value) {
    const std::string path = platform::preference_file_path(
        kPanelDomain, platform::PrefUser::Current, platform::PrefHost::Any);
    std::filesystem::remove(path);
    if (!value) return;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    auto dict = plist::make_dictionary();
    dict->set("keyHideMenuExtra", value);
    ASSERT_TRUE(plist::write_plist_file(path, *dict, plist::Format::Xml).ok());
  }

  TempDir dir_;
  std::unique_ptr<ReferenceDriver> driver_;
  std::unique_ptr<AgentLink> link_;
};

TEST_F(AgentMenuExtra, LoadsOnlyOnTenTwoAndLaterAndGoesQuietWhenUnloaded) {
  // A host whose helper folder holds no code.
  const std::string codeless = dir_.file("Codeless.app");
  std::filesystem::create_directories(codeless + "/Contents/Resources/CXMenuExtra.bundle");
  struct Case {
    const char* version;
    std::string bundle;
    bool result, loaded;
    const char* calls;
    const char* message;
  } cases[] = {
      {"0x101F", CX_MENU_EXTRA_HOST, true, false, "", ""},
      {"0x1020", CX_MENU_EXTRA_HOST, true, true,
       "initializeBundle(callback) update setVisible(0) cleanup ", ""},
      {"0x1049", dir_.path(), false, false, "",
       "Corvex Background - Unable to create CXMenuExtra bundle with URL:\n(null)\n"},
      {"0x1049", codeless, false, false, "",
       "Corvex Background - Unable to load CXMenuExtra executable\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.version) + " " + c.bundle);
    setenv("CORVEX_SYSTEM_VERSION", c.version, 1);
    setenv("CORVEX_BUNDLE", c.bundle.c_str(), 1);
    g_calls.clear();
    CaptureStderr();
    EXPECT_EQ(loadMenuExtraBundle(), c.result);
    EXPECT_EQ(GetCapturedStderr(), c.message);
    EXPECT_EQ(menuExtraBundle != nullptr, c.loaded);
    if (c.result) {
      EXPECT_TRUE(loadMenuExtraBundle());  // loaded already, or nothing to load
    }
    updateMenuExtraBundle();
    setVisibleMenuExtraBundle(1);  // no wheel known: hidden
    EXPECT_EQ(menuExtraVisible, 1u);
    unloadMenuExtraBundle();
    unloadMenuExtraBundle();
    updateMenuExtraBundle();
    EXPECT_EQ(menuExtraBundle, nullptr);
    EXPECT_EQ(g_calls, c.calls);
  }
}

TEST_F(AgentMenuExtra, SetupShowsItOnlyWhenWantedAndSomeDeviceHasAWheel) {
  struct Case {
    plist::ValueRef hide;
    std::vector<bool> wheels;
    uint32_t visible;
    bool has_wheel;
    const char* calls;
  } cases[] = {
      {nullptr, {true}, 1, true, "initializeBundle(callback) setVisible(1) "},
      {plist::make_bool(true), {true}, 0, true, "initializeBundle(callback) setVisible(0) "},
      {plist::make_bool(false), {false}, 1, false, "initializeBundle(callback) setVisible(0) "},
      // Only a boolean hides it; the second device's entry counts too.
      {plist::make_int32(1), {false, true}, 1, true, "initializeBundle(callback) setVisible(1) "},
      {nullptr, {}, 1, false, "initializeBundle(callback) setVisible(0) "},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "devices " << c.wheels.size() << " visible " << c.visible);
    serve(c.wheels);
    store_hide_switch(c.hide);
    g_calls.clear();
    setupMenuExtraBundle();
    EXPECT_EQ(menuExtraVisible, c.visible);
    EXPECT_EQ(menuExtraHasWheel, c.has_wheel);
    EXPECT_EQ(g_calls, c.calls);
    unloadMenuExtraBundle();
  }
}

// Command 2 starts the control panel: the host's script leaves its mark.
TEST_F(AgentMenuExtra, CallbackTogglesAndReadsHorizontalScrollingAndOpensThePanel) {
  const std::string mark = dir_.file("opened");
  setenv("CX_OPEN_MARK", mark.c_str(), 1);
  serve({true}, 0x0107);
  ASSERT_TRUE(loadMenuExtraBundle());
  struct Step {
    int command, result;
    uint16_t item;
    const char* calls;
  } steps[] = {
      {-1, 0, 0x0107, ""},       {1, 0, 0x010F, "update "}, {-1, 1, 0x010F, ""},
      {1, 0, 0x0107, "update "}, {7, 0, 0x0107, ""},        {0, 0, 0x0107, ""},
      {2, 0, 0x0107, ""},
  };
  for (const Step& s : steps) {
    SCOPED_TRACE(s.command);
    g_calls.clear();
    EXPECT_EQ(menuExtraCallback(s.command), s.result);
    EXPECT_EQ(scroll_item(), s.item);
    EXPECT_EQ(g_calls, s.calls);
  }
  EXPECT_TRUE(eventually([&] { return std::filesystem::exists(mark); }));
}

}  // namespace
}  // namespace cx::test
