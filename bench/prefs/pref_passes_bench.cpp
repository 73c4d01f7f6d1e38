// The preference passes for a file of N application sets x 18 buttons, a
// quarter of the buttons menus of 5 entries: the read pass (file -> driver,
// as an activation runs it) and the write pass (driver -> file, as a save
// runs it), against the reference driver over its real sockets. The driver
// holds at most 64 sets; beyond that the read pass skips the sets it
// refuses and the first save drops them from the file.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include "driver/driver_connection.h"
#include "platform/linux/user_client_socket.h"
#include "platform/preferences.h"
#include "plist/plist_io.h"
#include "prefs/pref_files.h"
#include "tests/support/reference_driver.h"
#include "tests/support/temp_dir.h"

namespace {

using namespace cx;

plist::ValueRef response(const std::string& label, const std::string& kind, plist::ValueRef value) {
  auto kinds = plist::make_dictionary();
  kinds->set(kind, std::move(value));
  return plist::make_dictionary({{"ButtonLabel", plist::make_string(label)},
                                 {"ResponseFlags", plist::make_string("None")},
                                 {"Response", kinds}});
}

plist::ValueRef button(int set, int b) {
  auto responses = plist::make_array();
  if (b % 4 == 0) {
    auto entries = plist::make_array();
    for (int e = 0; e < 5; ++e)
      entries->append(response("Site " + std::to_string(e), "LaunchURL",
                               plist::make_string("https://example.org/" + std::to_string(set) +
                                                  "/" + std::to_string(e))));
    responses->append(response("Menu", "MenuResponse", entries));
  } else {
    responses->append(
        response("Text", "PasteText", plist::make_string("text of set " + std::to_string(set))));
  }
  return responses;
}

plist::ValueRef user_file(int sets) {
  static const char* const kButtons[] = {
      "LeftButton",  "RightButton", "B3Button",    "B4Button",    "ChordButton", "BackChordButton",
      "WheelButton", "ButtonID_6",  "ButtonID_7",  "ButtonID_8",  "ButtonID_9",  "ButtonID_10",
      "ButtonID_11", "ButtonID_12", "ButtonID_13", "ButtonID_14", "ButtonID_15", "ButtonID_16"};
  auto all = plist::make_dictionary();
  for (int s = 0; s < sets; ++s) {
    auto buttons = plist::make_dictionary();
    for (int b = 0; b < 18; ++b) buttons->set(kButtons[b], button(s, b));
    auto set =
        plist::make_dictionary({{"ApplicationName", plist::make_string("App " + std::to_string(s))},
                                {"ButtonData", buttons}});
    all->set(s == 0 ? "Default" : "com.example.app" + std::to_string(s), set);
  }
  auto root = plist::make_dictionary(
      {{"ApplicationSetData", all}, {"PrefVersion", plist::make_string("4.0.0")}});
  return plist::make_dictionary({{"CXPrefData", root}});
}

class Session {
 public:
  explicit Session(int sets) {
    namespace fs = std::filesystem;
    fs::create_directories(dir_.file("bundle/Corvex Background"));
    fs::copy_file(CX_DEFAULT_PLIST, dir_.file("bundle/Corvex_Default.plist"));
    setenv("CORVEX_BUNDLE", dir_.file("bundle/Corvex Background").c_str(), 1);
    setenv("XDG_CONFIG_HOME", dir_.file("config").c_str(), 1);
    const std::string file = platform::preference_file_path(
        "com.velcorra.corvex", platform::PrefUser::Current, platform::PrefHost::Any);
    fs::create_directories(fs::path(file).parent_path());
    plist::write_plist_file(file, *user_file(sets), plist::Format::Xml);
    platform::set_user_client_service(service_.get());
  }
  ~Session() {
    pref_data.reset();
    DisconnectFromDriver();
    platform::set_user_client_service(nullptr);
  }
  bool ready() const { return driver_.running(); }
  // A settled file was last written longer ago than any file clock tick, as
  // a user's file is at most activations and saves; a fresh one is parsed
  // at every read.
  static void settle(const benchmark::State& state) {
    if (state.range(1) != 0) std::this_thread::sleep_for(std::chrono::milliseconds(2100));
  }

 private:
  test::TempDir dir_{"cxbench"};
  test::ReferenceDriver driver_;
  std::unique_ptr<platform::UserClientService> service_ =
      platform::make_socket_user_client_service(driver_.dir());
};

void BM_ReadPass(benchmark::State& state) {
  Session session(static_cast<int>(state.range(0)));
  if (!session.ready()) return state.SkipWithError("no reference driver");
  Session::settle(state);
  for (auto _ : state) {
    pref_data.reset();
    load_user_preferences();
  }
}
BENCHMARK(BM_ReadPass)
    ->ArgsProduct({{10, 50, 200}, {0, 1}})
    ->ArgNames({"sets", "settled"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_WritePass(benchmark::State& state) {
  Session session(static_cast<int>(state.range(0)));
  if (!session.ready()) return state.SkipWithError("no reference driver");
  load_user_preferences();
  // The first save makes the file the one every later save leaves as it is.
  write_plist_prefs(&pref_data);
  Session::settle(state);
  for (auto _ : state) write_plist_prefs(&pref_data);
}
BENCHMARK(BM_WritePass)
    ->ArgsProduct({{10, 50, 200}, {0, 1}})
    ->ArgNames({"sets", "settled"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
