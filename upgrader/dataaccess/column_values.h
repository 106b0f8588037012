// Columns of one table with the SQL values that they are to have.
#pragma once

#include <string>
#include <vector>

#include "platform/base/strings.h"

class ColumnValues {
public:
    void Add(const std::string& column, const std::string& value) {
        m_columns.push_back(column);
        m_values.push_back(value);
    }
    void Add(const std::vector<std::string>& columns, const std::string& value) {
        for (const std::string& column : columns)
            Add(column, value);
    }

    const std::vector<std::string>& GetColumns() const { return m_columns; }

    // A new row.
    std::string InsertSql(const std::string& table) const {
        return "INSERT INTO " + table + "(" + JoinStrings(m_columns, ", ") + ") VALUES (" +
               JoinStrings(m_values, ", ") + ");";
    }

    // Rows of the condition that have another value somewhere; '' without columns.
    std::string UpdateSql(const std::string& table, const std::string& condition) const {
        std::string assignments, differences;
        for (size_t i = 0; i < m_columns.size(); ++i) {
            assignments += (i > 0 ? ", " : "") + m_columns[i] + " = " + m_values[i];
            differences += (i > 0 ? " OR " : "") + m_columns[i] + " IS NOT " + m_values[i];
        }
        if (m_columns.empty())
            return "";
        return "UPDATE " + table + " SET " + assignments + " WHERE " + condition + " AND (" + differences +
               ");";
    }

private:
    std::vector<std::string> m_columns;
    std::vector<std::string> m_values;
};
