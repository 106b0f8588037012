#include "platform/package/account/priv_upgrade.h"

namespace PrivUpgrade {

void UpdateInaCamSet(CAM_PRIV_TYPE right, PrivProfile& profile, const std::set<int>& ids) {
    profile.SetInaCamIdSet(right, ids);
}

void UpdateInaEmapSet(ITEM_PRIV_TYPE right, PrivProfile& profile, const std::set<int>& ids) {
    profile.SetInaEmapIdSet(right, ids);
}

void UpdateInaLayoutSet(ITEM_PRIV_TYPE right, PrivProfile& profile, const std::set<int>& ids) {
    profile.SetInaLayoutIdSet(right, ids);
}

}  // namespace PrivUpgrade
