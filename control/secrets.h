// Values that no output shows.
#pragma once

#include <string>
#include <string_view>

inline constexpr std::string_view kMask = "***";

// Whether a column, settings key or JSON member of that name holds a secret: the name has a part such as
// password, token or key. Parts are told by what is neither letter nor digit, and by changes of case.
bool IsSecretName(std::string_view name);

// The value of a column or a settings key as it may be shown: the mask where the name is a secret's; in a JSON text
// the secret members are masked; any other value as it is.
std::string MaskedValue(std::string_view name, const std::string& value);
