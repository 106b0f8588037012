#include "platform/actionrule/actionrule.h"

namespace ActRuleUpgrade {

int MovePatrolScheToActRule() { return 0; }

int UpdateActRuleMultiActId() { return 0; }

}  // namespace ActRuleUpgrade

int InsertDefAudioPattern() { return 0; }
