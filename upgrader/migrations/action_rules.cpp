// Action rules.
#include "upgrader/migrations/migrations.h"
#include "upgrader/migrations/not_settled.h"
#include "upgrader/once.h"

namespace migrations {

// Not settled: rules with several events.
int UpdateActionRuleToMultiEvent() { return 0; }

// Not settled: how an event of a rule triggers.
int UpdateActRuleEventTrigType() { return 0; }

// Not settled: audio patterns that users added.
int UpdateUserDefineAudio() { return 0; }

// Not settled: device ids of rule events.
int UpdateActRuleEvtCamDevId() { return 0; }

// Not settled: actions of mobile cameras.
int UpdateActRuleMobicamAction() { return 0; }

// Not settled: device lists of rule actions, from the single device.
int SetActDevIdsFromActDevId() { return 0; }

// Not settled: status list of a rule, from the single status.
int SetActRuleMultiStatusFromStatus() { return 0; }

// Not settled: files of audio patterns that users added: their header.
int AppendWavHeaderToCustomAdoPattern() { return 0; }

// Not settled: files of audio patterns that users added: their header.
int UpdateWavHeaderToCustomAdoPattern() { return 0; }

// Not settled: passwords of rule actions.
int UpdateActionRulePassword() { return 0; }

// Not settled: table actionrule: a webhook parameter of bookmark actions.
int RenameActionRuleBmkWebhookParam() {
    return RunOnce("upgrade_rename_actionrule_webhook_param", kFailedToSetFlag, NotSettled);
}

}  // namespace migrations
