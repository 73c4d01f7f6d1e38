// Finding the old binary preference file and reading its two layouts into
// the driver. Whatever was sent before a failure stays in force.
#include "prefs/legacy_import.h"

#include <array>
#include <cstring>
#include <string_view>
#include <vector>

#include "driver/app_requests.h"
#include "driver/data_requests.h"
#include "model/numbering.h"
#include "prefs/app_set_buffer.h"
#include "prefs/legacy_reader.h"
#include "util/file_ops.h"
#include "util/file_path.h"
#include "util/open_files.h"

namespace cx {
namespace {

constexpr char kOlderFile[] = "Corvex Preferences";
constexpr char kOldestFile[] = "Velcorra Preferences";
constexpr const char* kSupersededFiles[] = {kOlderFile, "Corvex Preferences.old", kOldestFile,
                                            "Velcorra Preferences.old"};

constexpr size_t kVersionSize = 3;
constexpr std::string_view kVersion2 = "200";
constexpr std::string_view kVersion100 = "100";
constexpr std::string_view kVersion101 = "101";
constexpr int16_t kButtons = 26;
constexpr int16_t kButtonsOf100 = 25;

constexpr int16_t kAccelRecord = 2;
constexpr uint32_t kAccelLevels = 5;
constexpr size_t kOldAccelSize = 3;
constexpr int16_t kChordSpeedRecord = 9;
constexpr uint32_t kChordSpeedSize = 4;
constexpr int16_t kAppDataRecord = 17;
constexpr uint32_t kAppDataSize = 434;
constexpr int16_t kScrollingRecord = 72;
constexpr int16_t kOldFlagsRecord = 8;
constexpr uint32_t kCacheWrite = 1;

constexpr int16_t kAllLocalSpaces = -1;
constexpr uint32_t kDataspaceSend = 0;

constexpr size_t kAppKeySize = 32;
constexpr size_t kAppNameSize = 128;

// Leaves control-panel mode on every way out once it was entered.
class ControlPanelMode {
 public:
  ControlPanelMode() : entered_(InControlPanel(1) > 0) {}
  ~ControlPanelMode() {
    if (entered_) InControlPanel(0);
  }
  ControlPanelMode(const ControlPanelMode&) = delete;
  ControlPanelMode& operator=(const ControlPanelMode&) = delete;
  bool entered() const { return entered_; }

 private:
  bool entered_;
};

class OpenFile {
 public:
  OpenFile(const char* name, const sfilepath* folder)
      : ref_(open_file(name, folder, kReadPermission)) {}
  ~OpenFile() {
    if (ref_ != -1) close_file(ref_);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  int16_t ref() const { return ref_; }

 private:
  int16_t ref_;
};

bool send_acceleration(int16_t ref) {
  uint8_t stored[kOldAccelSize];
  if (!read_exact(ref, stored, sizeof stored)) return false;
  // The old three classes collapse into one level for every device class.
  uint8_t levels[kAccelLevels];
  std::memset(levels, stored[0], sizeof levels);
  return CXAccessGlobalData(kAccelRecord, kDataModeWrite, levels, kAccelLevels) > 0;
}

bool send_fixed_record(int16_t ref, int16_t (*access)(int16_t, uint8_t, void*, uint32_t),
                       int16_t index, uint32_t size) {
  std::vector<uint8_t> record(size);
  return read_exact(ref, record.data(), static_cast<int32_t>(size)) &&
         access(index, kDataModeWrite, record.data(), size) > 0;
}

// The dataspace section: a count, the largest size, then the blocks. The
// driver's dataspaces are freed only when the file brings some.
bool load_dataspaces(int16_t ref, bool free_globals) {
  int16_t count = 0;
  int16_t largest = 0;
  if (!read_be16(ref, &count) || !read_be16(ref, &largest)) return false;
  if (count <= 0) return true;
  DeallocateSpace(kAllLocalSpaces);
  if (free_globals)
    for (int16_t index = kFirstGlobalDataspace; index < kEndGlobalDataspace; ++index)
      DeallocateSpace(index);
  std::vector<uint8_t> data;
  for (int16_t i = 0; i < count; ++i) {
    int16_t size = 0;
    int16_t id = 0;
    if (!read_be16(ref, &size) || !read_be16(ref, &id)) return false;
    // A block larger than the stated largest would not fit the read buffer.
    if (size < 0 || size > largest || !read_block(ref, static_cast<uint32_t>(size), data))
      return false;
    if (AllocateSpace(size, id) < 0) return false;
    if (!CXAccessData(id, static_cast<uint16_t>(size), kDataspaceSend, data.data(),
                      static_cast<uint32_t>(size)))
      return false;
  }
  return true;
}

bool clear_app_sets() {
  ControlPanelMode mode;
  if (!mode.entered()) return false;
  clear_driver_sets();
  return true;
}

// A NUL-padded field as a C string, whether or not the padding is there.
template <size_t N>
std::array<char, N + 1> c_string(const uint8_t (&field)[N]) {
  std::array<char, N + 1> text{};
  std::memcpy(text.data(), field, N);
  return text;
}

bool load_app_sets(int16_t ref) {
  ControlPanelMode mode;
  if (!mode.entered()) return false;
  clear_driver_sets();
  std::vector<uint8_t> cache;
  for (int16_t set = 0;; ++set) {
    uint8_t key[kAppKeySize];
    uint8_t name[kAppNameSize];
    if (!read_exact(ref, key, sizeof key) || !read_exact(ref, name, sizeof name)) break;
    if (CurrentEditApp(c_string(key).data(), c_string(name).data()) <= 0) return false;
    uint32_t size = 0;
    if (!read_be32(ref, &size) || !read_block(ref, size, cache)) return false;
    if (AccessCacheData(set, kCacheWrite, cache.data(), size) != size) return false;
  }
  return true;
}

}  // namespace

int read_prefs(int* version2) {
  sfilepath folder{};
  if (!get_prefs_filepath(&folder)) return 0;
  const char* name = nullptr;
  bool with_version = true;
  if (file_exists(kLegacyPrefFile, &folder)) {
    for (const char* old : kSupersededFiles)
      if (file_exists(old, &folder)) delete_file(old, &folder);
    name = kLegacyPrefFile;
  } else if (file_exists(kOlderFile, &folder)) {
    name = kOlderFile;
  } else if (file_exists(kOldestFile, &folder)) {
    name = kOldestFile;
    with_version = false;
  } else {
    return 0;
  }
  OpenFile file(name, &folder);
  if (file.ref() == -1) return 0;
  return read_file_to_settings(file.ref(), with_version, version2) ? 1 : 0;
}

int read_file_to_settings(int16_t ref, bool with_version, int* version2) {
  int16_t buttons = kButtons;
  std::string_view version;
  char stored[kVersionSize];
  if (with_version) {
    if (!read_exact(ref, stored, kVersionSize)) return 0;
    version = std::string_view(stored, kVersionSize);
    if (version == kVersion2) {
      if (version2) *version2 = 1;
      return read_v2_file_to_settings(ref);
    }
    if (version == kVersion100) buttons = kButtonsOf100;
  }
  const bool is_100 = version == kVersion100;
  if (!clear_app_sets() || !send_acceleration(ref) || !read_al_stuff_to_settings(ref, buttons) ||
      !load_dataspaces(ref, false))
    return 0;
  if (is_100) {
    uint8_t scrolling[4] = {1, 0, 0, 0};
    if (CXAccessAppData(kScrollingRecord, kDataModeWrite, scrolling, sizeof scrolling) <= 0)
      return 0;
    set_chords_to_default();
  } else if (!send_fixed_record(ref, CXAccessAppData, kAppDataRecord, kAppDataSize) ||
             !send_fixed_record(ref, CXAccessGlobalData, kChordSpeedRecord, kChordSpeedSize)) {
    return 0;
  }
  if (is_100 || version == kVersion101) {
    uint8_t zero[2] = {};
    if (CXAccessAppData(kOldFlagsRecord, kDataModeWrite, zero, sizeof zero) <= 0) return 0;
  }
  return 1;
}

int read_v2_file_to_settings(int16_t ref) {
  if (!send_acceleration(ref) ||
      !send_fixed_record(ref, CXAccessGlobalData, kChordSpeedRecord, kChordSpeedSize) ||
      !load_dataspaces(ref, true))
    return 0;
  return load_app_sets(ref) ? 1 : 0;
}

}  // namespace cx
