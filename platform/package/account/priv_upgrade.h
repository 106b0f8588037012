// What upgrades change in privilege profiles.
#pragma once

#include <set>

#include "platform/package/account/priv_profile.h"

// Each makes the ids the profile's denied objects of one kind and right, in place of those it had; the denied
// groups and recording servers stay. The caller saves the profile.
namespace PrivUpgrade {

void UpdateInaCamSet(CAM_PRIV_TYPE right, PrivProfile& profile, const std::set<int>& ids);
void UpdateInaEmapSet(ITEM_PRIV_TYPE right, PrivProfile& profile, const std::set<int>& ids);
void UpdateInaLayoutSet(ITEM_PRIV_TYPE right, PrivProfile& profile, const std::set<int>& ids);

}  // namespace PrivUpgrade
