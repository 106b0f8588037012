// The body of a migration of which only its once-only flag is settled.
#pragma once

namespace migrations {

// Does nothing, so that the flag stands and no build mistakes the step for undone; what the step did to the
// data is not settled, and is not guessed at.
inline int NotSettled() { return 0; }

}  // namespace migrations
