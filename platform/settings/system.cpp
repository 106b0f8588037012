#include "platform/settings/system.h"

#include <cstdio>
#include <string>

#include "platform/base/paths.h"
#include "platform/settings/key_value_file.h"

void OLIBCCopyright() { std::puts("Vigilo network video recording package"); }

bool IsLeavingNonRecMode() {
    std::string value;
    return VGFileGetVal(kVariableConf, "leaving_non_rec_mode", value) > 0 && value == "true";
}
