// An owned action chain: the items live in one block and are linked in
// order. Moving the owner keeps every item (and so every link) in place.
#pragma once

#include <cstddef>
#include <vector>

#include "model/act_item.h"

namespace cx {

class act_item_chain {
 public:
  act_item_chain() = default;
  // Takes the items and links them in order.
  explicit act_item_chain(std::vector<act_item> items);

  act_item_chain(act_item_chain&&) noexcept = default;
  act_item_chain& operator=(act_item_chain&&) noexcept = default;
  // Copies would point into the source's items.
  act_item_chain(const act_item_chain&) = delete;
  act_item_chain& operator=(const act_item_chain&) = delete;

  // The first item, or null for the empty list.
  act_item* head() { return items_.empty() ? nullptr : items_.data(); }
  const act_item* head() const { return items_.empty() ? nullptr : items_.data(); }
  size_t size() const { return items_.size(); }

 private:
  std::vector<act_item> items_;
};

}  // namespace cx
