// Action rules: upgrades of rules and audio patterns that the registry calls. Each returns 0 or a negative
// value.
#pragma once

namespace ActRuleUpgrade {

// Patrol schedules become action rules; how is not settled.
int MovePatrolScheToActRule();

// Rules with several action ids; how they are filled is not settled.
int UpdateActRuleMultiActId();

}  // namespace ActRuleUpgrade

// The default audio patterns; which they are is not settled.
int InsertDefAudioPattern();
