#include "platform/package/account/adv_oper.h"

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

std::string AdvOper::NothingDenied() { return std::string(kLength, '0'); }

std::string AdvOper::DefaultsDenied() {
    std::string operations = NothingDenied();
    for (const auto& [first, last] : kDeniedByDefault)
        std::fill(operations.begin() + first, operations.begin() + last + 1, '1');
    return operations;
}

std::string AdvOper::ContinueWithDefaults(const std::string& operations) {
    return operations.size() < kLength ? operations + DefaultsDenied().substr(operations.size()) : operations;
}
