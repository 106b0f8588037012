// Trying a second time.
#pragma once

#include "platform/base/disk_error.h"

// Runs a call that gives 0 on success. When it fails and something that may pass has failed meanwhile (see
// disk_error.h), it is run once more.
template <class Call>
int OnceMore(Call call) {
    const unsigned before = DiskErrors();
    const int result = call();
    return result != 0 && DiskErrors() != before ? call() : result;
}
