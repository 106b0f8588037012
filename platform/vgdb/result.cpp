#include "platform/vgdb/result.h"

#include <sqlite3.h>
#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/vgdb/vgdb.h"

void DBResult_tag::AppendField(const char* text, size_t length) {
    if (!text) {
        fields.push_back(nullptr);
        return;
    }
    char* const copy = static_cast<char*>(m_texts.allocate(length + 1, 1));
    std::memcpy(copy, text, length);
    copy[length] = '\0';
    fields.push_back(copy);
}

int VGDBFetchRow(DBResult_tag* result, unsigned int* row) {
    if (!result || !row || result->nextRow >= result->NumRows())
        return -1;
    *row = result->nextRow++;
    return 0;
}

const char* VGDBFetchField(const DBResult_tag* result, unsigned int row, const char* column) {
    if (!result || !column || row >= result->NumRows())
        return nullptr;
    const auto& columns = result->columns;
    const auto found = std::find_if(columns.begin(), columns.end(), [column](const std::string& name) {
        return sqlite3_stricmp(name.c_str(), column) == 0;
    });
    if (found == columns.end())
        return nullptr;
    return result->fields[row * columns.size() + static_cast<size_t>(found - columns.begin())];
}

int VGDBNumRows(const DBResult_tag* result) { return result ? static_cast<int>(result->NumRows()) : 0; }

void VGDBFreeResult(DBResult_tag* result) { delete result; }

bool VGDB::FetchFieldAsBool(const DBResult_tag* result, unsigned int row, const char* column) {
    const char* const text = VGDBFetchField(result, row, column);
    if (!text)
        return false;
    for (const char* const yes : {"t", "true", "y", "yes", "on"})
        if (strcasecmp(text, yes) == 0)
            return true;
    return std::strtoll(text, nullptr, 10) != 0;
}
