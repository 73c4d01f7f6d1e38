#include "tests/prefs/pref_fixture.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "agent/agent_state.h"
#include "driver/driver_connection.h"
#include "platform/linux/user_client_socket.h"
#include "platform/preferences.h"
#include "plist/plist_io.h"
#include "prefs/pref_files.h"

namespace cx::test {

namespace fs = std::filesystem;

void PrefStoreTest::SetUp() {
  ASSERT_TRUE(driver_.running()) << driver_.error();
  ASSERT_FALSE(dir_.path().empty());
  fs::create_directories(dir_.file("bundle/Corvex Background"));
  fs::copy_file(CX_DEFAULT_PLIST, dir_.file("bundle/Corvex_Default.plist"));
  ::setenv("XDG_CONFIG_HOME", dir_.file("config").c_str(), 1);
  ::setenv("CORVEX_BUNDLE", dir_.file("bundle/Corvex Background").c_str(), 1);
  service_ = platform::make_socket_user_client_service(driver_.dir());
  platform::set_user_client_service(service_.get());
  reset_agent_state();
}

void PrefStoreTest::TearDown() {
  pref_data.reset();
  DisconnectFromDriver();
  platform::set_user_client_service(nullptr);
  reset_agent_state();
}

std::string PrefStoreTest::user_file() const {
  return platform::preference_file_path("com.velcorra.corvex", platform::PrefUser::Current,
                                        platform::PrefHost::Any);
}

void PrefStoreTest::write_user(const plist::ValueRef& root) {
  fs::create_directories(fs::path(user_file()).parent_path());
  auto top = plist::make_dictionary();
  top->set("CXPrefData", root);
  ASSERT_TRUE(plist::write_plist_file(user_file(), *top, plist::Format::Xml).ok());
}

plist::ValueRef PrefStoreTest::read_user() const {
  const auto result = plist::read_plist_file(user_file());
  const auto* top = plist::as<plist::Dictionary>(result.value);
  return top ? top->get("CXPrefData") : nullptr;
}

std::string PrefStoreTest::user_file_bytes() const {
  return read_file(user_file());
}

std::vector<uint8_t> PrefStoreTest::global_record(uint16_t index) const {
  std::vector<uint8_t> out;
  driver_.state().globals.read(index, 0, out);
  return out;
}

std::vector<uint8_t> PrefStoreTest::app_record(const std::string& key, uint16_t index) {
  std::vector<uint8_t> out;
  auto& apps = driver_.mutable_state().apps;
  const refdriver::AppSet* set = key == "Default" ? &apps.global() : apps.find_listed(key);
  if (set) set->data.read(index, 0, out);
  return out;
}

void PrefStoreTest::load() {
  pref_data.reset();
  load_user_preferences();
}

int PrefStoreTest::save() {
  return write_plist_prefs(&pref_data);
}

plist::ValueRef at(const plist::ValueRef& root, const std::string& path) {
  plist::ValueRef v = root;
  std::stringstream parts(path);
  for (std::string key; std::getline(parts, key, '/');) {
    const auto* dict = plist::as<plist::Dictionary>(v);
    v = dict ? dict->get(key) : nullptr;
  }
  return v;
}

}  // namespace cx::test
