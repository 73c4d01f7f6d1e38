#include "model/act_item_chain.h"

#include <utility>

namespace cx {

act_item_chain::act_item_chain(std::vector<act_item> items) : items_(std::move(items)) {
  for (size_t i = 0; i + 1 < items_.size(); ++i) items_[i].link = &items_[i + 1];
  if (!items_.empty()) items_.back().link = nullptr;
}

}  // namespace cx
