// Apple events: typed descriptors, events with keyword parameters, a handler
// table with reference constants, and sending to another process found by its
// signature or process serial number. The transport lives in a backend
// (platform/linux/ over the D-Bus session bus); tests install a fake.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace cx::platform {

using OSType = uint32_t;
using OSErr = int16_t;

// A four-character code as its 32-bit big-endian value: fourcc("cxvx") == 0x63787678.
constexpr OSType fourcc(const char (&code)[5]) {
  return (OSType{static_cast<uint8_t>(code[0])} << 24) |
         (OSType{static_cast<uint8_t>(code[1])} << 16) |
         (OSType{static_cast<uint8_t>(code[2])} << 8) | OSType{static_cast<uint8_t>(code[3])};
}
// The four characters of a code, for messages.
std::string fourcc_text(OSType code);

// Descriptor types.
constexpr OSType typeSInt16 = fourcc("shor");
constexpr OSType typeSInt32 = fourcc("long");
constexpr OSType typeChar = fourcc("TEXT");
constexpr OSType typeCString = fourcc("cstr");
constexpr OSType typeWildCard = fourcc("****");
constexpr OSType typeProcessSerialNumber = fourcc("psn ");
constexpr OSType typeApplSignature = fourcc("sign");
constexpr OSType typeAppleEvent = fourcc("aevt");
constexpr OSType typeNull = fourcc("null");

// Keywords and the core suite.
constexpr OSType keyDirectObject = fourcc("----");
constexpr OSType keyErrorNumber = fourcc("errn");
constexpr OSType kCoreEventClass = fourcc("aevt");
constexpr OSType kAEQuitApplication = fourcc("quit");

// Results.
constexpr OSErr noErr = 0;
constexpr OSErr paramErr = -50;
constexpr OSErr procNotFound = -600;
constexpr OSErr connectionInvalid = -609;
constexpr OSErr errAECoercionFail = -1700;
constexpr OSErr errAEDescNotFound = -1701;
constexpr OSErr errAEWrongDataType = -1703;
constexpr OSErr errAEEventNotHandled = -1708;
constexpr OSErr errAETimeout = -1712;
// What the sender sees in `errn` when a handler threw instead of returning.
constexpr OSErr errAEEventFailed = -10000;

// Bounds of one event, so that no sender can make a receiver copy or hold
// without limit: parameters, and the bytes of their data together.
constexpr size_t kMaxAEParameters = 1024;
constexpr size_t kMaxAEDataSize = size_t{16} << 20;

// Time-outs of a send, in ticks (1/60 s) when positive.
constexpr int32_t kAEDefaultTimeout = -1;  // two minutes
constexpr int32_t kNoTimeOut = -2;         // the transport's longest wait

struct ProcessSerialNumber {
  uint32_t highLongOfPSN = 0;
  uint32_t lowLongOfPSN = 0;  // the Unix process ID on Linux
  friend bool operator==(const ProcessSerialNumber&, const ProcessSerialNumber&) = default;
};

// A typed descriptor: numbers are big-endian in `data`, `TEXT` is raw bytes,
// `cstr` ends with its NUL, `psn ` is two big-endian u32, `null` is empty.
struct AEDesc {
  OSType descriptorType = typeNull;
  std::vector<uint8_t> data;
  friend bool operator==(const AEDesc&, const AEDesc&) = default;
};

AEDesc make_shor_desc(int16_t value);
AEDesc make_long_desc(int32_t value);
AEDesc make_text_desc(std::string_view bytes);
AEDesc make_cstr_desc(std::string_view text);
AEDesc make_bytes_desc(OSType type, std::vector<uint8_t> bytes);
AEDesc make_psn_desc(ProcessSerialNumber psn);
AEDesc make_signature_desc(OSType signature);

// Coerces `in` to `wanted` into `out`. Same type and `****` pass the bytes as
// they are; `shor`, `long` and `TEXT` of 2 or 4 bytes convert among each other
// (`long` to `shor` only when the value fits); anything else is -1700.
OSErr coerce_desc(const AEDesc& in, OSType wanted, AEDesc& out);
// Reads a `shor` or `long` descriptor (after coercion) as a number.
OSErr desc_to_shor(const AEDesc& desc, int16_t& out);
OSErr desc_to_long(const AEDesc& desc, int32_t& out);
// Reads a `psn ` descriptor; -1700 for any other type or length.
OSErr desc_to_psn(const AEDesc& desc, ProcessSerialNumber& out);

// An Apple event, or a reply event. A reply the sender did not ask for has
// type `null`: handlers check `is_null()` before adding to it.
class AppleEvent {
 public:
  using Parameter = std::pair<OSType, AEDesc>;

  // The `null` event.
  AppleEvent() = default;
  AppleEvent(OSType event_class, OSType event_id, AEDesc target)
      : type_(typeAppleEvent), class_(event_class), id_(event_id), target_(std::move(target)) {}
  // An empty reply event (type `aevt`, no class or ID).
  static AppleEvent make_reply() { return AppleEvent(0, 0, AEDesc{}); }

  OSType descriptor_type() const { return type_; }
  bool is_null() const { return type_ == typeNull; }
  OSType event_class() const { return class_; }
  OSType event_id() const { return id_; }
  const AEDesc& target() const { return target_; }
  // In the order they were first added.
  const std::vector<Parameter>& parameters() const { return params_; }

  // Adds or replaces a parameter (constant time); -1703 on a `null` event,
  // -50 when the event would pass kMaxAEParameters or kMaxAEDataSize.
  OSErr put_param(OSType keyword, AEDesc desc);
  OSErr put_shor(OSType keyword, int16_t value) {
    return put_param(keyword, make_shor_desc(value));
  }
  OSErr put_long(OSType keyword, int32_t value) {
    return put_param(keyword, make_long_desc(value));
  }
  // Null when the event has no such parameter.
  const AEDesc* find_param(OSType keyword) const;
  // The parameter coerced to `wanted`: -1701 missing, -1700 not coercible.
  OSErr get_param(OSType keyword, OSType wanted, AEDesc& out) const;
  OSErr get_shor(OSType keyword, int16_t& out) const;
  OSErr get_long(OSType keyword, int32_t& out) const;

 private:
  OSType type_ = typeNull;
  OSType class_ = 0;
  OSType id_ = 0;
  AEDesc target_;
  std::vector<Parameter> params_;
  std::unordered_map<OSType, size_t> index_;  // keyword -> position in params_
  size_t data_size_ = 0;
};

using AEEventHandlerProc = OSErr (*)(const AppleEvent& event, AppleEvent& reply, intptr_t refcon);

// Handlers per (class, ID). All exception handling around handlers is here.
class AEHandlerTable {
 public:
  // Replaces any handler of the same (class, ID); -50 for a null handler.
  // `exception_line` (kept, not copied: a literal), when not null, is written to
  // standard output if the handler throws.
  OSErr install(OSType event_class, OSType event_id, AEEventHandlerProc handler, intptr_t refcon,
                const char* exception_line = nullptr);
  // -1708 when nothing was installed for (class, ID).
  OSErr remove(OSType event_class, OSType event_id);
  bool has_handler(OSType event_class, OSType event_id) const;

  // Runs the handler for `event` and returns its result: -1708 when none is
  // installed, -10000 when it threw. A non-zero result is added to a non-null
  // `reply` as `errn` (`long`).
  OSErr dispatch(const AppleEvent& event, AppleEvent& reply) const;

 private:
  struct Entry {
    AEEventHandlerProc handler;
    intptr_t refcon;
    const char* exception_line;
  };
  std::map<std::pair<OSType, OSType>, Entry> entries_;
};

enum class AESendMode { no_reply, wait_reply };
enum class AEServeResult { ok, no_transport, signature_taken };

// The process's part in Apple events.
class AppleEventService {
 public:
  virtual ~AppleEventService() = default;

  // The handlers incoming events are dispatched to.
  virtual AEHandlerTable& handlers() = 0;
  // Starts receiving events addressed to `signature`, dispatched from the main loop.
  virtual AEServeResult serve(OSType signature) = 0;
  // Sends `event` to its target (`psn ` or `sign`). With wait_reply, `reply`
  // receives the reply event. Returns the send's own failure: -600 no such
  // target, -609 it vanished, -1712 time-out; a handler's error is `errn`.
  virtual OSErr send(const AppleEvent& event, AppleEvent* reply, AESendMode mode,
                     int32_t timeout = kAEDefaultTimeout) = 0;
  // The running process with `signature`: {0, its pid}; -600 (and {0, 0}) when none runs.
  virtual OSErr find_process_by_signature(OSType signature, ProcessSerialNumber& psn) = 0;
};

// The process-wide service: the platform's, unless a test installed another.
AppleEventService& apple_events();
// Installs `service` (not owned; null restores the platform's).
void set_apple_events(AppleEventService* service);

class SignatureDirectory;  // platform/processes.h
// The processes that serve Apple events and their signatures, kept current
// from the main loop, for the process service (set_signature_directory).
SignatureDirectory& participant_directory();

}  // namespace cx::platform
