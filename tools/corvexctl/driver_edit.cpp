#include "tools/corvexctl/driver_edit.h"

#include <chrono>
#include <cstdio>
#include <thread>

#include "driver/app_requests.h"
#include "driver/data_requests.h"
#include "driver/driver_connection.h"
#include "driver/request_codes.h"
#include "driver/response_requests.h"
#include "driver/transfer_block.h"
#include "model/response_block.h"
#include "responses/resp_work.h"

namespace cx::corvexctl {
namespace {

// The agent holds control-panel mode during its own reads and saves; those
// are short, so a busy driver is asked again for a while.
constexpr int kModeAttempts = 40;
constexpr auto kModeRetryPause = std::chrono::milliseconds(50);
constexpr size_t kKeySize = 32;
constexpr size_t kNameSize = 128;
constexpr uint8_t kAllButtonsEnd = 25;
constexpr uint32_t kInitialRunSize = 0x1000;

}  // namespace

ControlPanelMode::ControlPanelMode() {
  if (!ConnectToDriver()) {
    std::fprintf(stderr, "corvexctl: the driver cannot be reached (is corvex-driverd running?)\n");
    return;
  }
  for (int attempt = 0; attempt < kModeAttempts && !ok_; ++attempt) {
    if (attempt > 0) std::this_thread::sleep_for(kModeRetryPause);
    ok_ = InControlPanel(1) > 0;
  }
  if (!ok_) std::fprintf(stderr, "corvexctl: another control panel is editing the driver\n");
}

ControlPanelMode::~ControlPanelMode() {
  if (ok_) InControlPanel(0);
  DisconnectFromDriver();
}

std::vector<AppSetName> listed_app_sets() {
  std::vector<AppSetName> sets;
  for (int16_t index = 1; index > 0; ++index) {
    char key[kKeySize] = {};
    char name[kNameSize] = {};
    if (GetAppName(index, key, name) != 1) break;
    sets.push_back({key, name});
  }
  return sets;
}

const AppSetName* find_app_set(const std::vector<AppSetName>& sets, const std::string& app) {
  for (const AppSetName& set : sets)
    if (set.key == app) return &set;
  for (const AppSetName& set : sets)
    if (set.name == app) return &set;
  return nullptr;
}

bool select_app_set(const AppSetName& set) {
  if (CurrentEditApp(set.key.c_str(), set.name.c_str()) > 0) return true;
  std::fprintf(stderr, "corvexctl: the driver refused to edit the application set '%s'\n",
               set.key.c_str());
  return false;
}

bool send_responses(const std::vector<ButtonResponse>& responses) {
  std::vector<uint8_t> run(kInitialRunSize);
  for (;;) {
    CXTransferContext transfer;
    CXTransferStartWithRequest(&transfer, run.data(), static_cast<uint32_t>(run.size()),
                               request_code::SetResponseData);
    for (const ButtonResponse& r : responses) {
      const uint32_t before = transfer.used;
      resp_work work;
      work.header[response_header::button_id] = r.button;
      work.header[response_header::mods] = r.mods;
      work.transfer = &transfer;
      get_resp_data(&work, r.response.get(), nullptr);
      if (transfer.used == before) {
        std::fprintf(stderr, "corvexctl: no response block could be made for button %u\n",
                     unsigned{r.button});
        return false;
      }
    }
    const uint32_t length = CXTransferEnd(&transfer);
    if (length > run.size()) {
      run.resize(length);
      continue;
    }
    const int16_t stored = SetResponseDataCopy(run.data(), length);
    if (stored >= 0 && static_cast<size_t>(stored) >= responses.size()) return true;
    std::fprintf(stderr, "corvexctl: the driver refused the response (status %d)\n", stored);
    return false;
  }
}

bool send_scrolling(ScrollingRecord record) {
  if (CXAccessAppData(kScrollingRecord, kDataModeWrite, record.data(), record.size()) > 0)
    return true;
  std::fprintf(stderr, "corvexctl: the driver refused the scrolling settings\n");
  return false;
}

std::optional<ScrollingRecord> fetch_scrolling() {
  ScrollingRecord record{};
  if (CXAccessAppData(kScrollingRecord, kDataModeRead, record.data(), record.size()) <= 0)
    return std::nullopt;
  return record;
}

std::vector<uint8_t> fetch_responses(uint8_t mods) {
  uint32_t length = 0;
  int16_t status = 0;
  const uint8_t* run = GetResponses(0, kAllButtonsEnd, mods, 0, &length, &status);
  if (!run || status <= 0) return {};
  return {run, run + length};
}

}  // namespace cx::corvexctl
