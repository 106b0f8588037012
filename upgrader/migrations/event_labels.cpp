// Event labels.
#include "upgrader/migrations/migrations.h"

namespace migrations {

int UpdateEventLabelSettingToJson() { return 0; }

int UpdateEventLabelColor() { return 0; }

}  // namespace migrations
