// A document as a page.
#include "control/rehearse/document.h"

namespace {

constexpr const char* kHead = R"(<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; img-src data:">
<link rel="icon" href="data:,">
<style>
:root { --ink: #1d2329; --faint: #5b6671; --paper: #fff; --panel: #f4f6f8; --line: #d5dbe1;
        --good: #14713a; --bad: #b3261e; --was: #fbdcd9; --is: #cdeeda; }
@media (prefers-color-scheme: dark) {
  :root { --ink: #e3e7eb; --faint: #9aa5b0; --paper: #14181c; --panel: #1d2329; --line: #37414b;
          --good: #6fd196; --bad: #ff9b92; --was: #5a2b27; --is: #1d4a30; }
}
* { box-sizing: border-box; }
body { margin: 0 auto; padding: 1rem; max-width: 72rem; color: var(--ink); background: var(--paper);
       font: 16px/1.45 system-ui, sans-serif; overflow-wrap: anywhere; }
h1 { font-size: 1.4rem; margin: .3rem 0; }
h2 { font-size: 1.15rem; margin: 1.6rem 0 .4rem; padding-top: .6rem; border-top: 1px solid var(--line); }
h3, h4 { font-size: 1rem; margin: 1rem 0 .3rem; }
p { margin: .4rem 0; } p.good, p.bad { font-size: 1.1rem; font-weight: 600; }
.good { color: var(--good); } .bad { color: var(--bad); } .faint { color: var(--faint); }
dl { display: grid; grid-template-columns: max-content 1fr; gap: .15rem 1rem; margin: .8rem 0; }
dt { color: var(--faint); } dd { margin: 0; }
.scroll { overflow-x: auto; margin: .4rem 0; }
table { border-collapse: collapse; width: 100%; }
th, td { padding: .25rem .5rem; text-align: left; vertical-align: top; border-bottom: 1px solid var(--line);
         min-width: 4rem; }
th { background: var(--panel); font-weight: 600; white-space: nowrap; }
td:not(:last-child) { width: 1%; }
td.n, th.n { text-align: right; font-variant-numeric: tabular-nums; }
td.v { font: .85rem/1.45 ui-monospace, monospace; white-space: pre-wrap; min-width: 9rem; }
del { background: var(--was); text-decoration: none; } ins { background: var(--is); text-decoration: none; }
details { border-bottom: 1px solid var(--line); }
details > :not(summary) { margin-left: 1.1rem; }
summary { cursor: pointer; padding: .3rem 0; } summary span { margin-right: .3rem; }
@media (max-width: 30rem) {
  body { padding: .6rem; } details > :not(summary) { margin-left: .3rem; }
  th, td { padding: .2rem .3rem; } td.v { min-width: 7rem; }
}
@media print {
  body { max-width: none; padding: 0; font-size: 10pt; } del, ins, th { print-color-adjust: exact; }
  details::details-content { display: block; content-visibility: visible; block-size: auto; }
  del { text-decoration: line-through; } ins { text-decoration: underline; } tr { break-inside: avoid; }
}
</style>
)";

// Text between tags and in attributes. Characters that are not to be seen stand as escapes.
std::string Html(const std::string& text) {
    std::string html;
    for (const char c : Escaped(text)) {
        switch (c) {
            case '&':
                html += "&amp;";
                break;
            case '<':
                html += "&lt;";
                break;
            case '>':
                html += "&gt;";
                break;
            case '"':
                html += "&quot;";
                break;
            default:
                html += c;
        }
    }
    return html;
}

const char* ClassOf(Tone tone) {
    static constexpr const char* kClasses[] = {"", "good", "bad", "", "faint"};
    return kClasses[static_cast<size_t>(tone)];
}

std::string Element(const std::string& name, const std::string& classes, const std::string& content) {
    return '<' + name + (classes.empty() ? "" : " class=\"" + classes + '"') + '>' + content + "</" + name +
           '>';
}

std::string HtmlOf(const DocumentCell& cell) {
    std::string html;
    for (const Run& run : cell.runs) {
        const std::string text = run.text == " -> " ? " → " : Html(run.text);
        html += run.mark == Mark::None ? text : Element(run.mark == Mark::Was ? "del" : "ins", "", text);
    }
    return cell.tone == Tone::Strong ? Element("b", "", html) : html;
}

bool IsRight(const std::vector<std::string>& columns, size_t i) {
    return i < columns.size() && columns[i].starts_with('>');
}

std::string TableOf(const Block& block) {
    std::string titles, rows;
    bool named = false;
    for (size_t i = 0; i < block.columns.size(); ++i) {
        const bool right = IsRight(block.columns, i);
        named = named || !block.columns[i].empty();
        titles += Element("th", right ? "n" : "", Html(block.columns[i].substr(right ? 1 : 0)));
    }
    for (const DocumentRow& row : block.rows) {
        rows += "<tr>";
        for (size_t i = 0; i < row.size(); ++i)
            rows += Element("td",
                            IsRight(block.columns, i) ? "n"
                            : row[i].isValue          ? "v"
                                                      : ClassOf(row[i].tone),
                            HtmlOf(row[i]));
        rows += "</tr>\n";
    }
    return "<div class=scroll tabindex=0><table>" + (named ? "<thead><tr>" + titles + "</tr></thead>" : "") +
           "<tbody>\n" + rows + "</tbody></table></div>\n";
}

std::string HtmlOf(const std::vector<Block>& blocks, int level) {
    std::string html;
    for (const Block& block : blocks) {
        switch (block.kind) {
            case Block::Kind::Paragraph:
                html += Element("p", ClassOf(block.tone), Html(block.text)) + '\n';
                break;
            case Block::Kind::Table:
                html += TableOf(block);
                break;
            case Block::Kind::Section:
                html += Element('h' + std::to_string(level), "", HtmlOf(block.title.front())) + '\n' +
                        HtmlOf(block.inside, std::min(level + 1, 4));
                break;
            case Block::Kind::Part: {
                std::string title;
                for (const DocumentCell& cell : block.title)
                    if (const std::string text = HtmlOf(cell); !text.empty())
                        title += (title.empty() ? "" : " ") + Element("span", ClassOf(cell.tone), text);
                html +=
                    "<details><summary>" + title + "</summary>\n" + HtmlOf(block.inside, 4) + "</details>\n";
            }
        }
    }
    return html;
}

}  // namespace

std::string AsPage(const Document& document) {
    std::string facts;
    for (const DocumentRow& fact : document.facts)
        facts += Element("dt", "", HtmlOf(fact[0])) + Element("dd", "", HtmlOf(fact[1])) + '\n';
    const std::string title = Html(document.title);
    // The outcome, then the facts, then the rest.
    std::vector<Block> rest = document.body.inside;
    std::string first;
    if (!rest.empty() && rest.front().kind == Block::Kind::Paragraph) {
        first = HtmlOf({rest.front()}, 2);
        rest.erase(rest.begin());
    }
    return kPageSign + std::string(kHead) + "<title>" + title + "</title>\n</head>\n<body>\n<h1>" + title +
           "</h1>\n" + first + "<dl>\n" + facts + "</dl>\n" + HtmlOf(rest, 2) + "</body>\n</html>\n";
}
