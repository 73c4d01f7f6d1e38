#pragma once

// The helper's four entry points, looked up by name with dlsym.
extern "C" {

// The agent's callback: 1 toggles horizontal scrolling, -1 asks whether it is on (1/0),
// 2 opens the control panel.
typedef int (*CXMenuExtraCallback)(int command);

__attribute__((visibility("default"))) void initializeBundle(CXMenuExtraCallback callback);
__attribute__((visibility("default"))) void update(void);
__attribute__((visibility("default"))) void cleanup(void);
__attribute__((visibility("default"))) void setVisible(int visible);
}
