#include "control/text.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <utility>

#include "platform/base/strings.h"

namespace {

bool g_colour = false;

constexpr size_t kTextWidth = 100;  // where there is no terminal
constexpr size_t kNarrowestTerminal = 40;
constexpr size_t kGap = 2;
constexpr size_t kNarrowest = 16;      // of a column that gives way
constexpr size_t kNarrowestLast = 28;  // of the last one, while others can

}  // namespace

Character FirstCharacter(std::string_view text) {
    const auto byte = [&text](size_t i) { return static_cast<unsigned char>(text[i]); };
    static constexpr struct {
        unsigned char mask, lead;
        uint32_t least;
    } kForms[] = {{0x80, 0x00, 0}, {0xe0, 0xc0, 0x80}, {0xf0, 0xe0, 0x800}, {0xf8, 0xf0, 0x10000}};
    for (size_t more = 0; more < std::size(kForms) && more < text.size(); ++more) {
        const auto& [mask, lead, least] = kForms[more];
        if ((byte(0) & mask) != lead)
            continue;
        Character character{.bytes = more + 1, .number = byte(0) & static_cast<uint32_t>(~mask & 0xff)};
        for (size_t i = 1; i <= more; ++i) {
            if ((byte(i) & 0xc0) != 0x80)
                return {};
            character.number = character.number << 6 | (byte(i) & 0x3f);
        }
        const bool surrogate = character.number >= 0xd800 && character.number <= 0xdfff;
        return character.number < least || character.number > 0x10ffff || surrogate ? Character{} : character;
    }
    return {};
}

bool IsControl(uint32_t number) {
    return number < 0x20 || (number >= 0x7f && number < 0xa0) || number == 0x061c ||
           (number >= 0x200e && number <= 0x200f) || (number >= 0x2028 && number <= 0x202e) ||
           (number >= 0x2066 && number <= 0x2069);
}

namespace {

// Whether a word that is too long may be broken before the byte: a new part of a name or a path begins there.
bool MayBreak(std::string_view word, size_t i) {
    const auto isSmall = [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); };
    const std::string_view ends = "/_.,:;=-";
    return ends.find(word[i - 1]) != std::string_view::npos ||
           (isSmall(word[i - 1]) && word[i] >= 'A' && word[i] <= 'Z');
}

// How many bytes of a word go on a line of that width: all; else up to where it may be broken, unless that leaves
// half of the line empty.
size_t FittingBytes(std::string_view word, size_t width) {
    size_t bytes = 0, best = 0;
    for (size_t shown = 0; bytes < word.size(); ++shown) {
        const bool breaks = bytes > 0 && MayBreak(word, bytes);
        if (breaks && 2 * shown >= width)
            best = bytes;
        if (shown == width)
            return best > 0 ? best : bytes;
        bytes += std::max<size_t>(FirstCharacter(word.substr(bytes)).bytes, 1);
    }
    return bytes;
}

// The lines of a text within a width, broken at blanks where there are any.
std::vector<std::string> Wrapped(std::string_view text, size_t width) {
    std::vector<std::string> lines;
    std::string line;
    const auto end = [&] { lines.push_back(std::exchange(line, {})); };
    for (const std::string& word : SplitString(text, ' ')) {
        if (!line.empty() && WidthOf(line) + 1 + WidthOf(word) > width)
            end();
        if (!line.empty())
            line += ' ';
        for (std::string_view rest = word; !rest.empty();) {
            const size_t bytes = FittingBytes(rest, width);
            line += rest.substr(0, bytes);
            rest.remove_prefix(bytes);
            if (!rest.empty())
                end();
        }
    }
    if (!line.empty() || lines.empty())
        end();
    return lines;
}

constexpr size_t kManyColumns = 12;  // of one table in a list of names

std::string TableOf(const std::string& column) { return column.substr(0, column.find('.') + 1); }

std::string InShort(const std::vector<std::string>& names) {
    std::vector<std::string> shown;
    for (size_t begin = 0, end = 0; begin < names.size(); begin = end) {
        const std::string table = TableOf(names[begin]);
        for (end = begin + 1; end < names.size() && !table.empty() && TableOf(names[end]) == table;)
            ++end;
        if (end - begin > kManyColumns)
            shown.push_back(table + "* (" + std::to_string(end - begin) + ")");
        else
            shown.insert(shown.end(), names.begin() + static_cast<std::ptrdiff_t>(begin),
                         names.begin() + static_cast<std::ptrdiff_t>(end));
    }
    return JoinStrings(shown, ", ");
}

}  // namespace

bool IsColourWanted() {
    const char* const no = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    return isatty(STDOUT_FILENO) && !(no && *no) && !(terminal && std::string_view(terminal) == "dumb");
}

size_t TextWidth() {
    winsize size{};
    const bool isTerminal = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isTerminal ? std::max(size_t{size.ws_col}, kNarrowestTerminal) : kTextWidth;
}

void SetColour(bool on) { g_colour = on; }

std::string Toned(Tone tone, std::string_view text) {
    static constexpr std::array kCodes = {"", "32", "31", "1", "2"};
    if (!g_colour || tone == Tone::Plain || text.empty())
        return std::string(text);
    return "\x1b[" + std::string(kCodes[static_cast<size_t>(tone)]) + 'm' + std::string(text) + "\x1b[0m";
}

std::string Escaped(std::string_view text) {
    std::string escaped;
    while (!text.empty()) {
        const Character character = FirstCharacter(text);
        const size_t bytes = std::max<size_t>(character.bytes, 1);
        if (character.bytes > 0 && !IsControl(character.number))
            escaped += text.substr(0, bytes);
        else if (text[0] == '\n')
            escaped += "\\n";
        else if (text[0] == '\r')
            escaped += "\\r";
        else if (text[0] == '\t')
            escaped += "\\t";
        else if (character.number >= 0x80)
            escaped += StringPrintf("\\u%04x", character.number);
        else
            escaped += StringPrintf("\\x%02x", static_cast<unsigned char>(text[0]));
        text.remove_prefix(bytes);
    }
    return escaped;
}

std::string ShellQuoted(const std::string& word) {
    static constexpr const char* kPlain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+:@%,";
    if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos)
        return word;
    std::string quoted = "'";
    for (const char c : word)
        quoted += c == '\'' ? "'\\''" : std::string(1, c);
    return quoted + '\'';
}

size_t WidthOf(std::string_view text) {
    return static_cast<size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }));
}

std::string Counted(unsigned long long count, std::string_view one, std::string_view many) {
    return std::to_string(count) + ' ' + std::string(count == 1 ? one : many);
}

std::string InBytes(unsigned long long bytes) {
    static constexpr std::array kUnits = {"KiB", "MiB", "GiB", "TiB", "PiB"};
    if (bytes < 1024)
        return std::to_string(bytes) + " B";
    double value = static_cast<double>(bytes) / 1024;
    size_t unit = 0;
    for (; value >= 1023.95 && unit + 1 < kUnits.size(); ++unit)
        value /= 1024;
    return StringPrintf("%.1f %s", value, kUnits[unit]);
}

std::string Paragraph(const std::string& text, Tone tone) {
    std::string lines;
    for (const std::string& line : Wrapped(text, TextWidth()))
        lines += Toned(tone, line) + '\n';
    return lines;
}

std::string AskAtTerminal(const std::string& question, bool yes) {
    if (yes)
        return "";
    if (!isatty(STDIN_FILENO))
        return "It asks on a terminal; elsewhere it needs --yes";
    std::cerr << question << " [y/N] ";
    std::string answer;
    const bool agreed = std::getline(std::cin, answer) && (answer == "y" || answer == "Y" || answer == "yes");
    return agreed ? "" : "Nothing was changed";
}

TextTable::TextTable(std::vector<std::string> titles, size_t indent) : m_indent(indent) {
    for (std::string& title : titles) {
        const bool right = title.starts_with('>');
        m_columns.push_back({.title = right ? title.substr(1) : std::move(title), .right = right});
    }
}

void TextTable::Add(std::vector<Cell> row) {
    row.resize(m_columns.size(), Cell(""));
    m_rows.push_back(std::move(row));
}

void TextTable::AppendRow(const std::vector<Cell>& row, const std::vector<size_t>& widths,
                          std::string& text) const {
    std::vector<std::vector<std::string>> lines;
    size_t height = 0;
    for (size_t i = 0; i < row.size(); ++i) {
        lines.push_back(Wrapped(row[i].text, widths[i]));
        height = std::max(height, lines.back().size());
    }
    for (size_t at = 0; at < height; ++at) {
        std::string line(m_indent, ' ');
        size_t blanks = 0;  // owed before what comes next
        for (size_t i = 0; i < row.size(); ++i) {
            const std::string part = at < lines[i].size() ? lines[i][at] : "";
            const size_t fill = widths[i] - std::min(widths[i], WidthOf(part));
            const size_t before = m_columns[i].right ? fill : 0;
            if (!part.empty())
                line += std::string(std::exchange(blanks, 0) + before, ' ') + Toned(row[i].tone, part);
            blanks += (part.empty() ? widths[i] : fill - before) + kGap;
        }
        text += line + '\n';
    }
}

// The last column gives way first, then the widest of the others.
void TextTable::Narrow(std::vector<size_t>& widths) const {
    size_t all = m_indent + kGap * (widths.size() - 1);
    for (const size_t width : widths)
        all += width;
    const auto takeFrom = [&all, room = TextWidth()](size_t& width, size_t least) {
        const size_t taken = all > room ? std::min(all - room, width - std::min(width, least)) : 0;
        width -= taken;
        all -= taken;
        return taken > 0;
    };
    takeFrom(widths.back(), kNarrowestLast);
    while (takeFrom(*std::max_element(widths.begin(), widths.end()), kNarrowest)) {
    }
}

std::string TextTable::ToString() const {
    std::vector<size_t> widths;
    std::vector<Cell> titles;
    for (const Column& column : m_columns) {
        widths.push_back(std::max<size_t>(WidthOf(column.title), 1));
        titles.emplace_back(column.title, Tone::Strong);
    }
    for (const std::vector<Cell>& row : m_rows)
        for (size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], WidthOf(row[i].text));
    Narrow(widths);
    std::string text;
    if (std::any_of(m_columns.begin(), m_columns.end(), [](const Column& one) { return !one.title.empty(); }))
        AppendRow(titles, widths, text);
    for (const std::vector<Cell>& row : m_rows)
        AppendRow(row, widths, text);
    return text;
}

std::vector<std::string> GroupedByKind(const std::vector<std::string>& texts, const std::string& separator) {
    std::vector<std::string> grouped, names;
    std::string kind;
    const auto end = [&] {
        if (!names.empty())
            grouped.push_back(kind + InShort(names));
        names.clear();
    };
    for (const std::string& text : texts) {
        const size_t at = text.find(separator);
        const size_t size = at == std::string::npos ? 0 : at + separator.size();
        if (size == 0 || text.substr(0, size) != kind)
            end();
        kind = text.substr(0, size);
        if (size > 0)
            names.push_back(text.substr(size));
        else
            grouped.push_back(text);
    }
    end();
    return grouped;
}
