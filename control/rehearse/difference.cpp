#include "control/rehearse/difference.h"

#include <algorithm>

namespace {

constexpr size_t kBeside = 12;      // characters that stand beside what differs
constexpr size_t kMostMarked = 60;  // of one difference
constexpr size_t kMostRuns = 41;    // of a value
constexpr size_t kMostWords = 400;  // that are compared with each other

using Words = std::vector<std::string_view>;

bool IsInside(char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; }  // of a character of UTF-8

bool IsWord(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           (c & 0x80) != 0;
}

std::string_view First(std::string_view text, size_t characters) {
    size_t end = 0;
    for (; end < text.size() && (characters > 0 || IsInside(text[end])); ++end)
        characters -= IsInside(text[end]) ? 0 : 1;
    return text.substr(0, end);
}

std::string_view Last(std::string_view text, size_t characters) {
    size_t begin = text.size();
    while (begin > 0 && characters > 0)
        characters -= IsInside(text[--begin]) ? 0 : 1;
    return text.substr(begin);
}

Words Split(std::string_view text, bool words) {
    Words parts;
    while (!text.empty()) {
        size_t size = 1;
        while (size < text.size() && (words ? IsWord(text[0]) && IsWord(text[size]) : IsInside(text[size])))
            ++size;
        parts.push_back(text.substr(0, size));
        text.remove_prefix(size);
    }
    return parts;
}

// Which parts of the two are the same, in their order: the longest such sequence.
void FindSame(const Words& a, const Words& b, std::vector<bool>& sameA, std::vector<bool>& sameB) {
    sameA.assign(a.size(), false);
    sameB.assign(b.size(), false);
    size_t begin = 0, endA = a.size(), endB = b.size();
    for (; begin < std::min(endA, endB) && a[begin] == b[begin]; ++begin)
        sameA[begin] = sameB[begin] = true;
    for (; endA > begin && endB > begin && a[endA - 1] == b[endB - 1]; --endA, --endB)
        sameA[endA - 1] = sameB[endB - 1] = true;
    if (endA - begin > kMostWords || endB - begin > kMostWords)
        return;
    const size_t width = endB - begin + 1;
    std::vector<unsigned> length((endA - begin + 1) * width);
    const auto at = [&](size_t i, size_t j) -> unsigned& { return length[(i - begin) * width + j - begin]; };
    for (size_t i = endA; i-- > begin;)
        for (size_t j = endB; j-- > begin;)
            at(i, j) = a[i] == b[j] ? at(i + 1, j + 1) + 1 : std::max(at(i + 1, j), at(i, j + 1));
    for (size_t i = begin, j = begin; i < endA && j < endB;) {
        if (a[i] == b[j])
            sameA[i++] = sameB[j++] = true;
        else if (at(i + 1, j) >= at(i, j + 1))
            ++i;
        else
            ++j;
    }
}

std::vector<Run> RunsOf(const Words& words, const std::vector<bool>& same, Mark mark, bool folded) {
    std::vector<Run> runs;
    for (size_t i = 0; i < words.size(); ++i) {
        const Mark wanted = same[i] ? Mark::None : mark;
        if (runs.empty() || runs.back().mark != wanted)
            runs.push_back({.text = "", .mark = wanted});
        runs.back().text += words[i];
    }
    for (size_t i = 0; folded && i < runs.size(); ++i) {
        Run& run = runs[i];
        const size_t left = i > 0 ? kBeside : 0, right = i + 1 < runs.size() ? kBeside : 0;
        if (run.mark != Mark::None)
            run.text = Shortened(run.text, kMostMarked);
        else if (runs.size() > 1 && WidthOf(run.text) > left + right + 3)
            run.text = std::string(First(run.text, left)) + "…" + std::string(Last(run.text, right));
        else if (runs.size() == 1)
            run.text = Shortened(run.text, kMostMarked);
    }
    if (folded && runs.size() > kMostRuns) {
        runs.resize(kMostRuns);
        runs.push_back({.text = "…", .mark = Mark::None});
    }
    return runs;
}

}  // namespace

std::string Shortened(const std::string& text, size_t most) {
    if (WidthOf(text) <= most)
        return text;
    return std::string(First(text, most)) + "… (" + InBytes(text.size()) + ")";
}

std::pair<std::vector<Run>, std::vector<Run>> Difference(const std::string& before, const std::string& after,
                                                         bool folded) {
    const auto isFlags = [](const std::string& text) {  // between quotes
        return text.size() > 2 &&
               std::all_of(text.begin() + 1, text.end() - 1, [](char c) { return c >= '0' && c <= '9'; });
    };
    const bool words = before.size() != after.size() || !isFlags(before) || !isFlags(after);
    const Words a = Split(before, words), b = Split(after, words);
    std::vector<bool> sameA(a.size()), sameB(b.size());
    if (!words)  // place by place
        for (size_t i = 0; i < a.size(); ++i)
            sameA[i] = sameB[i] = a[i] == b[i];
    else
        FindSame(a, b, sameA, sameB);
    return {RunsOf(a, sameA, Mark::Was, folded), RunsOf(b, sameB, Mark::Is, folded)};
}
