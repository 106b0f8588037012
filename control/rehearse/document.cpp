#include "control/rehearse/document.h"

DocumentCell DocumentCell::Value(std::vector<Run> runs) {
    DocumentCell cell("");
    cell.runs = std::move(runs);
    cell.isValue = true;
    return cell;
}

Block Block::Paragraph(std::string text, Tone tone) {
    Block block;
    block.text = std::move(text);
    block.tone = tone;
    return block;
}

Block Block::Table(std::vector<std::string> columns) {
    Block block;
    block.kind = Kind::Table;
    block.columns = std::move(columns);
    return block;
}

Block Block::Section(std::string title, std::vector<Block> inside) {
    Block block;
    block.kind = Kind::Section;
    block.title = {DocumentCell(std::move(title))};
    block.inside = std::move(inside);
    return block;
}

Block Block::Part(DocumentRow title, std::vector<Block> inside) {
    Block block;
    block.kind = Kind::Part;
    block.title = std::move(title);
    block.inside = std::move(inside);
    return block;
}

void Block::Add(Block block) {
    if (!block.IsEmpty())
        inside.push_back(std::move(block));
}
