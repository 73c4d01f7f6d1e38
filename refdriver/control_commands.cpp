#include "refdriver/control_commands.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <vector>

#include "refdriver/event_codes.h"
#include "refdriver/state_report.h"

namespace cx::refdriver {
namespace {

std::vector<std::string_view> words(std::string_view line) {
  std::vector<std::string_view> out;
  size_t at = 0;
  while (at < line.size()) {
    const size_t start = line.find_first_not_of(" \t\r", at);
    if (start == std::string_view::npos) break;
    const size_t end = std::min(line.find_first_of(" \t\r", start), line.size());
    out.push_back(line.substr(start, end - start));
    at = end;
  }
  return out;
}

std::optional<uint64_t> number(std::string_view text, uint64_t max) {
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    text.remove_prefix(2);
    base = 16;
  }
  uint64_t value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (ec != std::errc{} || end != text.data() + text.size() || text.empty() || value > max) {
    return std::nullopt;
  }
  return value;
}

std::optional<std::vector<uint8_t>> hex_bytes(std::string_view text) {
  if (text.size() % 2 != 0) return std::nullopt;
  std::vector<uint8_t> out;
  for (size_t i = 0; i < text.size(); i += 2) {
    uint8_t byte = 0;
    const auto [end, ec] = std::from_chars(text.data() + i, text.data() + i + 2, byte, 16);
    if (ec != std::errc{} || end != text.data() + i + 2) return std::nullopt;
    out.push_back(byte);
  }
  return out;
}

std::string error(std::string_view reason) {
  return "error: " + std::string(reason) + "\n";
}
const std::string kOk = "ok\n";

}  // namespace

std::string run_control_command(Simulator& simulator, DriverState& state, std::string_view line) {
  const std::vector<std::string_view> w = words(line);
  if (w.empty()) return error("no command");
  const std::string_view command = w[0];
  const size_t args = w.size() - 1;
  if (command == "press") {
    if (args != 1 && !(args == 3 && w[2] == "--mods"))
      return error("usage: press BUTTON [--mods N]");
    const auto button = number(w[1], 0xFF);
    const auto mods = args == 3 ? number(w[3], 0xFF) : std::optional<uint64_t>(0);
    if (!button || !mods) return error("button and modifiers are 0 to 255");
    simulator.press(static_cast<uint8_t>(*button), static_cast<uint8_t>(*mods));
    return kOk;
  }
  if (command == "front") {
    const size_t start = line.find("front") + 5;
    const size_t name = line.find_first_not_of(" \t", start);
    if (name == std::string_view::npos) return error("usage: front APP-NAME");
    std::string_view app = line.substr(name);
    while (!app.empty() && (app.back() == ' ' || app.back() == '\r')) app.remove_suffix(1);
    simulator.front(std::string(app));
    return kOk;
  }
  if (command == "state" && args == 0) return describe_state(state) + kOk;
  if (command == "chord" && args == 0) {
    simulator.chord();
    return kOk;
  }
  if (command == "devices-changed" && args == 0) {
    simulator.devices_changed();
    return kOk;
  }
  if (command == "hscroll" && args == 0) {
    simulator.hscroll();
    return kOk;
  }
  if (command == "console-switch") {
    if (args == 0) {
      simulator.console_switch();
      return kOk;
    }
    const auto uid = args == 1 ? number(w[1], UINT32_MAX) : std::nullopt;
    if (!uid) return error("usage: console-switch [UID]");
    simulator.console_switch(static_cast<uint32_t>(*uid));
    return kOk;
  }
  if (command == "low-battery") {
    const auto id = args == 1 ? number(w[1], 0xFFFF) : std::nullopt;
    if (!id) return error("usage: low-battery UNIQUE-ID (0 to 65535)");
    return simulator.low_battery(static_cast<uint16_t>(*id))
               ? kOk
               : error("the low-battery table is full");
  }
  if (command == "event") {
    const auto code = args >= 1 && args <= 2 ? number(w[1], 0x7FFF) : std::nullopt;
    const auto data = args == 2 ? hex_bytes(w[2]) : std::optional<std::vector<uint8_t>>({});
    if (!code || *code == 0 || !data) return error("usage: event CODE (1 to 32767) [HEX-DATA]");
    return simulator.event(static_cast<int16_t>(*code), *data) ? kOk
                                                               : error("the event queue is full");
  }
  if (command == "notify") {
    const auto code = args >= 1 && args <= 2 ? number(w[1], kMaxEventCode) : std::nullopt;
    const auto arg = args == 2 ? number(w[2], UINT64_MAX) : std::optional<uint64_t>(0);
    if (!code || !arg) return error("usage: notify CODE (0 to 0x3FFF) [ARG]");
    simulator.notify(static_cast<uint32_t>(*code), *arg);
    return kOk;
  }
  return error("unknown command: " + std::string(command));
}

}  // namespace cx::refdriver
