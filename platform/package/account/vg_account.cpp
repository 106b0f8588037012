#include "platform/package/account/vg_account.h"

#include "platform/base/strings.h"
#include "platform/vgdb/rows.h"

std::list<VGAccount> GetAccList(const AccFilterRule& rule) {
    const std::string among = rule.ids.empty() ? "" : " WHERE id IN (" + JoinStrings(rule.ids, ",") + ")";
    DBRows rows;
    if (QueryRows(DB_SYSTEM,
                  "SELECT id, name, privprofileid, privprofileids FROM account" + among + " ORDER BY id;",
                  rows))
        return {};
    std::list<VGAccount> accounts;
    for (unsigned int row = 0; VGDBFetchRow(rows.get(), &row) == 0;) {
        const auto text = [&rows, row](const char* column) {
            return std::string(OrEmpty(VGDBFetchField(rows.get(), row, column)));
        };
        VGAccount& account = accounts.emplace_back();
        account.m_id = String2Int(text("id").c_str());
        account.m_name = text("name");
        account.m_privProfileId = String2Int(text("privprofileid").c_str());
        account.m_privProfileIds = String2IdSet(text("privprofileids"));
    }
    return accounts;
}

int VGAccount::SetPrivProfileId(int profileId) {
    const std::string sql =
        StringPrintf("UPDATE account SET privprofileid = %d WHERE id = %d;", profileId, m_id) +
        GetPrivProfileIdStringSql(std::to_string(profileId));
    if (m_id == 0 || VGDB::Execute(DB_SYSTEM, sql))
        return -1;
    m_privProfileId = profileId;
    m_privProfileIds = {profileId};
    return 0;
}

std::string VGAccount::GetPrivProfileIdStringSql(const std::string& profileIds) const {
    return "UPDATE account SET privprofileids = " + VGDB::QuoteEscape(profileIds) +
           " WHERE id = " + std::to_string(m_id) + ";";
}
