// Values that no output shows.
#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

inline constexpr std::string_view kMask = "***";

// Whether a column, settings key or JSON member of that name holds a secret: the name contains a word such as password
// or token, or one of its parts ends with one such as key or pwd. Parts are told by what is neither letter nor digit
// and by changes of case; digits at the end of a part do not count.
bool IsSecretName(std::string_view name);

// The text with the user information of every URL in it masked: "rtsp://***@10.0.0.7/live".
std::string WithoutUsersOfUrls(std::string_view text);

// The value of a column or a settings key as it may be shown: the mask where the name is a secret's; in a JSON text
// the secret members are masked; in any text the users of URLs.
std::string MaskedValue(std::string_view name, const std::string& value);

// Masks the users of URLs in every text of the value.
void MaskUrls(Json::Value& value);
