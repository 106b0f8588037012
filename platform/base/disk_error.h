// Whether the disk has failed this process. What a failing disk has stopped can be tried once more; what
// failed for another reason would only fail again.
#pragma once

void NoteDiskError();

// Notes a disk error when the errno value is one.
void NoteErrno(int error);

// How often the disk has failed so far.
unsigned DiskErrors();
