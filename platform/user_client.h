// The driver's user client, seen the way IOKit shows it: services matched by
// class, a connection with scalar and structure methods and mappable memory,
// and general-interest messages delivered through a file descriptor that the
// main loop watches. Everything here is replaceable by a test fake.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace cx::platform {

using kern_return_t = int32_t;

inline constexpr kern_return_t kIOReturnSuccess = 0;
inline constexpr kern_return_t kIOReturnError = static_cast<kern_return_t>(0xE00002BCu);
inline constexpr kern_return_t kIOReturnNoMemory = static_cast<kern_return_t>(0xE00002BDu);
inline constexpr kern_return_t kIOReturnNoDevice = static_cast<kern_return_t>(0xE00002C0u);
inline constexpr kern_return_t kIOReturnBadArgument = static_cast<kern_return_t>(0xE00002C2u);
inline constexpr kern_return_t kIOReturnUnsupported = static_cast<kern_return_t>(0xE00002C7u);

// Most scalars a method takes or gives back.
inline constexpr std::size_t kMaxScalarCount = 16;

// Driver memory mapped into this process; destroying the object unmaps it.
class MemoryMapping {
 public:
  virtual ~MemoryMapping() = default;
  virtual uint8_t* address() const = 0;
  virtual uint64_t size() const = 0;
};

// An open user client (connection type 0); destroying it closes the
// connection, after which the driver frees every buffer it created for it.
class UserClientConnection {
 public:
  virtual ~UserClientConnection() = default;

  // IOConnectMethodScalarIScalarO: `out.size()` outputs are asked for; the
  // ones the driver returns are stored from out[0], the others are left as
  // they were (callers preset them).
  virtual kern_return_t call_scalar(uint32_t selector, std::span<const int64_t> in,
                                    std::span<int64_t> out) = 0;

  // IOConnectMethodStructureIStructureO: at most `out.size()` bytes come
  // back, their count in `out_len`.
  virtual kern_return_t call_struct(uint32_t selector, std::span<const uint8_t> in,
                                    std::span<uint8_t> out, std::size_t& out_len) = 0;

  // IOConnectMapMemory: on success `mapping` holds the driver's buffer.
  virtual kern_return_t map_memory(uint32_t memory_type,
                                   std::unique_ptr<MemoryMapping>& mapping) = 0;

  // IOConnectUnmapMemory: the mapping goes away whatever the driver answers.
  virtual kern_return_t unmap_memory(uint32_t memory_type,
                                     std::unique_ptr<MemoryMapping> mapping) = 0;
};

struct InterestMessage {
  uint32_t type;
  uint64_t argument;
};

// General-interest messages of one service ("IOGeneralInterest").
class InterestNotifier {
 public:
  virtual ~InterestNotifier() = default;
  // Readable when messages wait or the driver has gone.
  virtual int fd() const = 0;
  // Appends every message that has arrived, without blocking. False once the
  // driver has gone (what arrived before is still appended).
  virtual bool read_pending(std::vector<InterestMessage>& out) = 0;
};

class UserClientService {
 public:
  virtual ~UserClientService() = default;

  // IOServiceGetMatchingServices: the services of `class_name`, in byte order
  // of their names; none found is success with an empty list.
  virtual kern_return_t matching_services(std::string_view class_name,
                                          std::vector<std::string>& services) = 0;

  // IOServiceOpen with connection type 0.
  virtual kern_return_t open(const std::string& service,
                             std::unique_ptr<UserClientConnection>& connection) = 0;

  // IOServiceAddInterestNotification for "IOGeneralInterest".
  virtual kern_return_t open_interest(const std::string& service,
                                      std::unique_ptr<InterestNotifier>& notifier) = 0;
};

// The process-wide service: the machine's, unless a test installed another.
UserClientService& user_client_service();
// Installs `s` (not owned; null restores the machine's service).
void set_user_client_service(UserClientService* s);

}  // namespace cx::platform
