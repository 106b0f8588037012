// A report for people, made once and written twice: as text, and as a page that stands alone (no script, nothing that is
// fetched, readable on a phone, in a dark theme and on paper).
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "control/text.h"

// What a part of a value is: the same on both sides, or on one side alone.
enum class Mark { None, Was, Is };

struct Run {
    std::string text;
    Mark mark = Mark::None;
};

struct DocumentCell {
    std::vector<Run> runs;
    Tone tone = Tone::Plain;
    bool isValue = false;  // of a row or a key

    DocumentCell(std::string text, Tone cellTone = Tone::Plain) : runs{{std::move(text)}}, tone(cellTone) {}
    DocumentCell(const char* text) : DocumentCell(std::string(text)) {}
    static DocumentCell Value(std::vector<Run> runs);
};

using DocumentRow = std::vector<DocumentCell>;

// A part of a document: a paragraph, a table, or, with a title, a section or a part that is closed at first. In the text
// closed parts stand as lines of a table; what is inside them stands there only where `opensInText`.
struct Block {
    enum class Kind { Paragraph, Table, Section, Part };

    Kind kind = Kind::Paragraph;
    DocumentRow title;
    std::string text;
    Tone tone = Tone::Plain;
    std::vector<std::string> columns;  // titles; one that begins with '>' is aligned right
    std::vector<DocumentRow> rows;
    std::vector<Block> inside;
    bool opensInText = false;

    static Block Paragraph(std::string text, Tone tone = Tone::Plain);
    static Block Table(std::vector<std::string> columns);
    static Block Section(std::string title, std::vector<Block> inside = {});
    static Block Part(DocumentRow title, std::vector<Block> inside);

    // Adds what is not empty.
    void Add(Block block);
    bool IsEmpty() const { return text.empty() && rows.empty() && inside.empty(); }
};

struct Document {
    std::string title;
    std::vector<DocumentRow> facts;  // name and value
    Block body = Block::Section("");
};

std::string AsText(const Document& document);
std::string AsPage(const Document& document);

// How every page begins; a file that begins otherwise is none of ours.
inline constexpr const char* kPageSign = "<!DOCTYPE html>\n<!-- vgupgradectl -->\n";
