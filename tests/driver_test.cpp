#include "tests/support/system_tree.h"
