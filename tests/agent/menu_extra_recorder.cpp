// A stand-in for the CXMenuExtra helper: each entry point reports its call to
// the test executable that loaded it.
#include <cstdint>

#include "platform/linux/menu_extra/menu_extra_api.h"

// Exported by the test executable.
extern "C" void menu_extra_test_record(const char* call, intptr_t argument);

extern "C" {

void initializeBundle(CXMenuExtraCallback callback) {
  menu_extra_test_record("initializeBundle", reinterpret_cast<intptr_t>(callback));
}
void update(void) {
  menu_extra_test_record("update", 0);
}
void cleanup(void) {
  menu_extra_test_record("cleanup", 0);
}
void setVisible(int visible) {
  menu_extra_test_record("setVisible", visible);
}
}
