// Operation strings.
#include <algorithm>

#include "platform/account/priv_profile.h"

namespace {

// Operations from the first to the last position that spectators, and new user profiles, are denied.
struct DeniedOperations {
    int first;
    int last;
};

constexpr DeniedOperations kDeniedByDefault[] = {
    {5, 5},              // delete recordings
    {11, 11}, {14, 14},  // delete and edit snapshots
    {15, 16},            // export and mount recordings
    {17, 26},            // what managers do
    {28, 28},            // home mode
    {30, 31},            // analytics
    {34, 41}, {43, 44},  // doors
    {49, 49},            // intercoms
    {51, 54}, {56, 56},  // points of sale
    {64, 78},            // all that has been added since operations were bits of a mask
};

}  // namespace

std::string PrivProfile::GetAllObjViewerAdvOper() {
    std::string defaults(kAdvOperLength, '0');
    for (const auto& [first, last] : kDeniedByDefault)
        std::fill(defaults.begin() + first, defaults.begin() + last + 1, '1');
    return defaults;
}

std::string PrivProfile::GetDefaultUserAdvOper(const std::string& advOper) {
    if (advOper.size() >= kAdvOperLength)
        return advOper;
    return advOper + GetAllObjViewerAdvOper().substr(advOper.size());
}

void PrivProfile::SetOperAccess(int position, bool grant) {
    if (position < 0 || position >= kAdvOperLength)
        return;
    std::string advOper = GetAdvOper();
    if (advOper.size() < kAdvOperLength)
        advOper = GetPrivilege() == PRIV_LEVEL_ADMIN || m_id == kAllObjManagerId
                      ? std::string(kAdvOperLength, '0')
                      : GetDefaultUserAdvOper(advOper);
    advOper[static_cast<size_t>(position)] = grant ? '0' : '1';
    m_advOperator = advOper;
}
