// The instant before this process changes anything.
#pragma once

#include <functional>

// Sets who is told, once, before the first change from now on.
void OnFirstChange(std::function<void()> listener);

// Every library calls it before it changes a file or a database. What the listener itself changes does not
// call the listener again.
void AnnounceChange();

// Whether the next announcement has somebody to hear it.
bool IsFirstChangeAwaited();
