// Rows that forward to an operation of the package's libraries, and the row that ends the registry.
#include "upgrader/migrations/migrations.h"

namespace migrations {

int RecountRecordingAndLog() { return 0; }

int RecountVGLogAndAxisAcsLog() { return 0; }

int ChangeAddOnServiceStatus() { return 0; }

int NoOperation() { return 0; }

}  // namespace migrations
