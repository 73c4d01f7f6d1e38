#include "responses/vcx_equal.h"

namespace cx {

// The property-list model's own equality already descends into containers
// by exactly this rule, where the platform's shallow one did not.
bool vcx_CFEqual(const plist::Value* a, const plist::Value* b) {
  return plist::equal(a, b);
}

}  // namespace cx
