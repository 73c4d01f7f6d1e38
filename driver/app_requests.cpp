#include "driver/app_requests.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "driver/request_codes.h"
#include "driver/request_params.h"
#include "driver/transfer_request.h"

namespace cx {
namespace {

// A C string with its terminating NUL; nothing for a null pointer.
std::span<const uint8_t> c_string_bytes(const char* s) {
  if (!s) return {};
  return {reinterpret_cast<const uint8_t*>(s), std::strlen(s) + 1};
}

void copy_c_string(std::string_view s, std::span<char> dest) {
  if (dest.empty()) return;
  const size_t n = std::min(s.size(), dest.size() - 1);
  std::copy_n(s.data(), n, dest.data());
  dest[n] = '\0';
}

// The reply holds two C strings back to back, the last ending the reply.
int16_t take_two_names(const driver_reply& r, std::span<char> name1, std::span<char> name2) {
  if (!r.data || r.status != 1 || r.length == 0 || r.data[r.length - 1] != '\0') return 0;
  const char* text = reinterpret_cast<const char*>(r.data);
  const std::string_view first(text);
  copy_c_string(first, name1);
  if (first.size() + 1 == r.length) return 0;
  copy_c_string(std::string_view(text + first.size() + 1), name2);
  return 1;
}

}  // namespace

const uint8_t* CXDoSwitchApp(const void* data, uint32_t length) {
  const std::span<const uint8_t> name =
      data ? std::span(static_cast<const uint8_t*>(data), length) : std::span<const uint8_t>();
  return simple_request(request_code::CXDoSwitchApp, request_params::be32(length), name).data;
}

int16_t CurrentEditApp(const char* name1, const char* name2) {
  return status_or_zero(
      simple_request(request_code::CurrentEditApp, c_string_bytes(name1), c_string_bytes(name2)));
}

int16_t GetAppName(int16_t index, std::span<char> name1, std::span<char> name2) {
  return take_two_names(simple_request(request_code::GetAppName, request_params::be16(index)),
                        name1, name2);
}

int16_t QueryEditApp(std::span<char> name1, std::span<char> name2) {
  return take_two_names(simple_request(request_code::QueryEditApp, {}), name1, name2);
}

int16_t DeleteAppName(const char* name) {
  return status_or_zero(simple_request(request_code::DeleteAppName, c_string_bytes(name)));
}

int16_t InControlPanel(uint8_t flag) {
  const uint8_t params[] = {flag};
  return status_or_zero(simple_request(request_code::InControlPanel, params));
}

}  // namespace cx
