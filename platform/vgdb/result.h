// How a query's rows are kept; programs see only the functions of vgdb.h.
#pragma once

#include <cstddef>
#include <deque>
#include <memory_resource>
#include <string>
#include <vector>

struct DBResult_tag {
    void AppendField(const char* text, size_t length);  // null text is a NULL field
    size_t NumRows() const { return columns.empty() ? 0 : fields.size() / columns.size(); }

    std::vector<std::string> columns;
    std::deque<const char*> fields;  // row by row; a deque grows without copying what it holds
    unsigned int nextRow = 0;

private:
    std::pmr::monotonic_buffer_resource m_texts;  // neither does this
};
