// The background-event queue that the agent drains with
// GetNextBackgroundEvent: an event code and the data the action needs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "refdriver/limits.h"

namespace cx::refdriver {

struct BackgroundEvent {
  int16_t code;
  std::vector<uint8_t> data;
};

class EventQueue {
 public:
  // False (and nothing queued) when the queue is full, the code is not
  // positive or the data is longer than kMaxEventData.
  bool push(int16_t code, std::span<const uint8_t> data);
  const BackgroundEvent* front() const { return events_.empty() ? nullptr : &events_.front(); }
  void pop() { events_.pop_front(); }
  size_t size() const { return events_.size(); }
  const std::deque<BackgroundEvent>& all() const { return events_; }

 private:
  std::deque<BackgroundEvent> events_;
};

inline bool EventQueue::push(int16_t code, std::span<const uint8_t> data) {
  if (code <= 0 || data.size() > kMaxEventData || events_.size() >= kMaxQueuedEvents) return false;
  events_.push_back({code, std::vector<uint8_t>(data.begin(), data.end())});
  return true;
}

}  // namespace cx::refdriver
