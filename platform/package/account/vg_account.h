// The package's accounts and the privilege profiles that they are bound to.
#pragma once

#include <list>
#include <set>
#include <string>

// Accounts to list.
struct AccFilterRule {
    std::set<int> ids;  // empty: every account
};

class VGAccount {
public:
    int GetId() const { return m_id; }
    const std::string& GetName() const { return m_name; }
    int GetPrivProfileId() const { return m_privProfileId; }
    const std::set<int>& GetPrivProfileIds() const { return m_privProfileIds; }

    // Binds the account to this profile alone, in the table and in the object. Returns 0 or -1.
    [[nodiscard]] int SetPrivProfileId(int profileId);

    // The statement that binds the account to the profiles of an id list.
    std::string GetPrivProfileIdStringSql(const std::string& profileIds) const;

private:
    friend std::list<VGAccount> GetAccList(const AccFilterRule& rule);

    int m_id = 0;
    std::string m_name;
    int m_privProfileId = 0;  // of old builds, which bound an account to one profile
    std::set<int> m_privProfileIds;
};

// The accounts that match, by ascending id; none when they cannot be read.
std::list<VGAccount> GetAccList(const AccFilterRule& rule = {});
