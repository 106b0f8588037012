// Whether the disk has failed this process. A unit of work that a failing disk has stopped can be tried once
// more; one that failed for another reason would only fail again.
#pragma once

void NoteDiskError();

// Notes a disk error when the errno value is one.
void NoteErrno(int error);

bool HadDiskError();
void ForgetDiskErrors();
