// Whether something that may pass has failed this process: the disk, or a lack of descriptors or memory. What it has
// stopped can be tried once more; what failed for another reason would only fail again.
#pragma once

void NoteDiskError();

// The same when the errno value is such an error.
void NoteErrno(int error);

// How often that has been so far.
unsigned DiskErrors();
