// Effects outside the databases of the walk: settings keys and user-visible log entries. They are noted in the
// main database, in the transaction of the rows that they belong to; delivered after its commit; struck off
// when they are delivered. Nothing is undone because a delivery fails: what cannot be delivered now stays
// noted, and is delivered by the next upgrade.
//
// To deliver twice does no harm. A key is set to the value that it has. The ids that the entries get in the log are
// noted before they are written, in one transaction: what stands under the first id tells whether they are there.
#pragma once

#include "upgrader/record.h"

namespace Outbox {

// From now on the libraries collect, and migrations see what is owed as written.
void Collect(const std::vector<KeyChange>& owed);

// Forgets what has been collected and not noted; from now on keys are written directly.
void Stop();

// Notes what has been collected since the last call. Returns 1, 0 when that was nothing, or -1 when the main database
// does not take it.
[[nodiscard]] int Note();

// The text that notes the place of the entries in the log, for the transaction that is about to be committed. Without
// it the place is noted in a commit of its own, later.
std::string PlaceSql();

// Writes what has been collected where the main database takes no note. Keys and entries that cannot be
// written are lost; that is logged.
void WriteDirectly();

// Delivers what is noted. `strike` gets the SQL text that takes out of the record what has been delivered, for
// the caller to run. Returns 0 when nothing is owed any more then, -1 when something stays owed (logged).
[[nodiscard]] int Deliver(std::string& strike);

// Delivers and strikes off what an earlier upgrade owes. `facts` then tell what remains. Returns as Deliver.
int DeliverOwed(Record::Facts& facts);

}  // namespace Outbox
