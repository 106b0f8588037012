#include "platform/package/account/priv_profile.h"

#include <algorithm>

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

std::string PrivProfile::GetAllObjManagerAdvOper() { return std::string(kAdvOperLength, '0'); }

std::string PrivProfile::GetAllObjViewerAdvOper() {
    std::string operations = GetAllObjManagerAdvOper();
    for (const auto& [first, last] : kDeniedByDefault)
        std::fill(operations.begin() + first, operations.begin() + last + 1, '1');
    return operations;
}

std::string PrivProfile::GetDefaultUserAdvOper(const std::string& advOper) {
    return advOper.size() < kAdvOperLength ? advOper + GetAllObjViewerAdvOper().substr(advOper.size())
                                           : advOper;
}
