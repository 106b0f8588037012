// Text for people: aligned, within the width of the terminal, coloured where the terminal shows it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// How long a line may be: the terminal's width, or 100 columns elsewhere.
size_t TextWidth();

enum class Tone { Plain, Good, Bad, Strong, Faint };

// Whether tones show: standard output is a terminal, and the environment does not say NO_COLOR.
bool IsColourWanted();
void SetColour(bool on);

// The text in a tone; as it is while colour is off.
std::string Toned(Tone tone, std::string_view text);

// Data on one line: control characters, marks that turn the direction of writing and bytes that are no UTF-8
// as escapes.
std::string Escaped(std::string_view text);

// One character of UTF-8: its bytes and its number. No bytes where the text is no UTF-8.
struct Character {
    size_t bytes = 0;
    uint32_t number = 0;
};
Character FirstCharacter(std::string_view text);

// Whether a terminal would obey it: control characters, marks that turn the direction of writing.
bool IsControl(uint32_t number);

// A word as the shell takes it: in quotes where it needs them.
std::string ShellQuoted(const std::string& word);

// The columns that a text takes on a terminal: one a character.
size_t WidthOf(std::string_view text);

// "1 row", "3 rows".
std::string Counted(unsigned long long count, std::string_view one, std::string_view many);

// "17 B", "4.2 MiB".
std::string InBytes(unsigned long long bytes);

// A sentence in a tone, as lines within the width. What is data in it has been escaped.
std::string Paragraph(const std::string& text, Tone tone = Tone::Plain);

// "KIND: NAME" texts, or "KIND NAME" ones with the separator " ": one text a kind, in their order, its names joined
// by commas. Where a table has many columns there, it stands with their number.
std::vector<std::string> GroupedByKind(const std::vector<std::string>& texts, const std::string& separator);

// Asks on a terminal whether it is to be done, unless that was said before. Returns '' for yes, else the refusal: there
// is no terminal, or the answer was another one.
std::string AskAtTerminal(const std::string& question, bool yes);

// Columns as wide as their widest cell, two blanks between them; where a line has no room for them, the last column is
// wrapped at words, then the widest of the others. Cells are escaped here.
class TextTable {
public:
    struct Cell {
        Cell(std::string_view content, Tone cellTone = Tone::Plain)
            : text(Escaped(content)), tone(cellTone) {}
        Cell(const char* content) : Cell(std::string_view(content)) {}
        Cell(const std::string& content) : Cell(std::string_view(content)) {}

        std::string text;
        Tone tone;
    };

    // Titles may all be empty: then there is no line of titles. One that begins with '>' aligns its column right.
    explicit TextTable(std::vector<std::string> titles, size_t indent = 0);

    void Add(std::vector<Cell> row);
    bool IsEmpty() const { return m_rows.empty(); }

    // All lines, the titles first.
    std::string ToString() const;

private:
    struct Column {
        std::string title;
        bool right;
    };

    void Narrow(std::vector<size_t>& widths) const;
    void AppendRow(const std::vector<Cell>& row, const std::vector<size_t>& widths, std::string& text) const;

    std::vector<Column> m_columns;
    size_t m_indent;
    std::vector<std::vector<Cell>> m_rows;
};
