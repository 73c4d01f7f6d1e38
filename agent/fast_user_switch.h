// Learning this agent's session from the "FastUserSwitch" helper bundle.
#pragma once

namespace cx {

// On systems with fast user switching: asks the helper for the session's
// user and whether it is on the console, and registers the session handlers.
// A missing or failing helper leaves the agent as the only session.
void learn_user_session();

}  // namespace cx
