#include "platform/actionrule/actionrule.h"

namespace ActRuleUpgrade {

// Not settled: how patrol schedules become action rules.
int MovePatrolScheToActRule() { return 0; }

// Not settled: how rules get several action ids.
int UpdateActRuleMultiActId() { return 0; }

}  // namespace ActRuleUpgrade

// Not settled: the default audio patterns.
int InsertDefAudioPattern() { return 0; }
