// A document as text.
#include <algorithm>

#include "control/rehearse/document.h"

namespace {

// In a value that is not marked as a whole, what is marked stands in brackets.
std::string TextOf(const DocumentCell& cell) {
    const bool partly = std::any_of(cell.runs.begin(), cell.runs.end(),
                                    [](const Run& run) { return run.mark == Mark::None; });
    std::string text;
    for (const Run& run : cell.runs)
        text += run.mark != Mark::None && partly && cell.runs.size() > 3 ? '[' + run.text + ']' : run.text;
    return text;
}

std::vector<TextTable::Cell> CellsOf(const DocumentRow& row) {
    std::vector<TextTable::Cell> cells;
    for (const DocumentCell& cell : row)
        cells.emplace_back(TextOf(cell), cell.tone);
    return cells;
}

std::string TextOf(const std::vector<Block>& blocks, size_t indent);

// Parts, one under the other, are the lines of one table.
std::string PartsOf(const std::vector<Block>& blocks, size_t& next, size_t indent) {
    std::string text;
    TextTable table(std::vector<std::string>(blocks[next].title.size()), indent);
    for (; next < blocks.size() && blocks[next].kind == Block::Kind::Part; ++next) {
        table.Add(CellsOf(blocks[next].title));
        if (!blocks[next].opensInText)
            continue;
        text += table.ToString() + TextOf(blocks[next].inside, indent + 2);
        table = TextTable(std::vector<std::string>(blocks[next].title.size()), indent);
    }
    return text + table.ToString();
}

std::string TextOf(const std::vector<Block>& blocks, size_t indent) {
    std::string text;
    for (size_t next = 0; next < blocks.size();) {
        const Block& block = blocks[next];
        switch (block.kind) {
            case Block::Kind::Paragraph:
                text += indent == 0 ? Paragraph(Escaped(block.text), block.tone) : [&] {
                    TextTable table({""}, indent);
                    table.Add({TextTable::Cell(block.text, block.tone)});
                    return table.ToString();
                }();
                break;
            case Block::Kind::Table: {
                TextTable table(block.columns, indent);
                for (const DocumentRow& row : block.rows)
                    table.Add(CellsOf(row));
                text += table.ToString();
                break;
            }
            case Block::Kind::Section:
                text += std::string(indent, ' ') + Toned(Tone::Strong, Escaped(TextOf(block.title.front()))) +
                        '\n' + TextOf(block.inside, indent + 2);
                break;
            case Block::Kind::Part:
                text += PartsOf(blocks, next, indent);
                continue;
        }
        ++next;
    }
    return text;
}

}  // namespace

std::string AsText(const Document& document) {
    TextTable facts({"", ""}, 2);
    for (const DocumentRow& fact : document.facts)
        facts.Add(CellsOf(fact));
    return Paragraph(Escaped(document.title), Tone::Strong) + facts.ToString() +
           TextOf(document.body.inside, 0);
}
