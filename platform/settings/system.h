// State of the system that the package's programs ask for.
#pragma once

// Prints the maker's banner to standard output.
void OLIBCCopyright();

// True while the system is leaving non-rec mode, the state in which the recorder only serves its archive:
// the key "leaving_non_rec_mode" of variable.conf, which the package's scripts hold for that time.
bool IsLeavingNonRecMode();
