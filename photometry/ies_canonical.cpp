// IESFile::canonicalize: brings the text of a real-world LM-63 file into the layout that the
// line reader reads to completion, and says what it had to change.
#include <cctype>
#include <cstdio>
#include <sstream>

#include "photometry/ies_file.h"
#include "photometry/ies_parts.h"

namespace {

constexpr std::size_t kMaxLine = 255;
// Tilt numbers are written a few to a line so that no tilt line can pass for the ten-number
// luminaire line when the tilt block is read as ordinary text.
constexpr std::size_t kTiltNumbersPerLine = 8;

struct SourceLine {
    std::string text;  // without its ending
    bool hadCarriageReturn = false;
};

struct Token {
    std::string text;  // as written, or reformatted when the source token held several numbers
    float value = 0.0f;
    std::size_t line = 0;  // index into the source lines
};

std::vector<SourceLine> splitLines(const std::string& text, bool& sawCarriageReturn) {
    std::vector<SourceLine> lines;
    SourceLine current;
    bool pending = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\n' || c == '\r') {
            current.hadCarriageReturn = c == '\r';
            if (c == '\r') {
                sawCarriageReturn = true;
                if (i + 1 < text.size() && text[i + 1] == '\n') {
                    ++i;
                }
            }
            lines.push_back(std::move(current));
            current = SourceLine();
            pending = false;
            continue;
        }
        if (c == '\0') {
            continue;  // a zero byte would end the text early for a buffer read
        }
        current.text.push_back(c);
        pending = true;
    }
    if (pending) {
        lines.push_back(std::move(current));
    }
    return lines;
}

bool isSeparator(char c) {
    return c == ' ' || c == '\t' || c == '\v' || c == '\f' || c == ',';
}

std::string upper(std::string s) {
    for (char& c : s) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return s;
}

std::string trimWhite(const std::string& s) {
    const std::size_t first = s.find_first_not_of(" \t\v\f");
    if (first == std::string::npos) {
        return std::string();
    }
    const std::size_t last = s.find_last_not_of(" \t\v\f");
    return s.substr(first, last - first + 1);
}

std::string formatFloat(float value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.9g", static_cast<double>(value));
    return buffer;
}

// Numbers written one after another, wrapped onto lines of at most 255 characters.
void appendWrapped(std::vector<std::string>& out, const std::vector<Token>& tokens,
                   std::size_t begin, std::size_t end, std::size_t perLine = 0) {
    std::string line;
    std::size_t onLine = 0;
    for (std::size_t i = begin; i < end; ++i) {
        const std::string& t = tokens[i].text;
        const bool full = perLine != 0 && onLine == perLine;
        if (!line.empty() && (full || line.size() + 1 + t.size() > kMaxLine)) {
            out.push_back(std::move(line));
            line.clear();
            onLine = 0;
        }
        if (!line.empty()) {
            line.push_back(' ');
        }
        line += t;
        ++onLine;
    }
    if (!line.empty()) {
        out.push_back(std::move(line));
    }
}

// Integers as text without std::to_string, whose digit table would leave the library as a
// unique global symbol.
std::string decimal(long long value) {
    char buffer[24];
    std::snprintf(buffer, sizeof buffer, "%lld", value);
    return buffer;
}

[[noreturn]] void fail(const std::string& message) { throw IESFile::CanonicalError(message); }

}  // namespace

std::string IESFile::Canonical::describe() const {
    std::vector<std::string> parts;
    if (changes & kLineEndings) parts.emplace_back("line endings normalised to LF");
    if (changes & kTiltLine) parts.emplace_back("TILT line rewritten");
    if (changes & kLuminaireJoined) parts.emplace_back("luminaire numbers joined onto one line");
    if (changes & kCommas) parts.emplace_back("commas read as separators");
    if (changes & kLongLines) parts.emplace_back("lines over 255 characters wrapped");
    if (changes & kNumbersRewritten) parts.emplace_back("run-together numbers split");
    if (changes & kRegrouped) parts.emplace_back("numbers regrouped onto canonical lines");
    if (changes & kTrailingDropped) {
        parts.push_back(decimal(droppedLines) + " line" + (droppedLines == 1 ? "" : "s") +
                        " after the candela values dropped");
    }
    if (parts.empty()) {
        return "unchanged";
    }
    std::string out;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        out += (i == 0 ? "" : ", ") + parts[i];
    }
    return out;
}

IESFile::Canonical IESFile::canonicalize(const std::string& text) {
    Canonical result;
    bool sawCr = false;
    const std::vector<SourceLine> lines = splitLines(text, sawCr);
    if (sawCr) {
        result.changes |= kLineEndings;
    }

    // The TILT line ends the free-form part of the file.
    std::size_t tiltLine = lines.size();
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::string t = trimWhite(lines[i].text);
        if (t.size() >= 5 && upper(t.substr(0, 5)) == "TILT=") {
            tiltLine = i;
            break;
        }
    }
    if (tiltLine == lines.size()) {
        fail("no TILT= line: not an LM-63 photometric file");
    }
    std::vector<std::string> out;
    for (std::size_t i = 0; i < tiltLine; ++i) {
        out.push_back(lines[i].text);
    }
    const std::string tiltValue = trimWhite(trimWhite(lines[tiltLine].text).substr(5));
    const bool tiltInclude = upper(tiltValue) == "INCLUDE";
    const std::string tiltText = "TILT=" + (tiltInclude || upper(tiltValue) == "NONE"
                                                ? upper(tiltValue)
                                                : tiltValue);
    if (tiltText != lines[tiltLine].text) {
        result.changes |= kTiltLine;
    }
    out.push_back(tiltText);

    // Every number after the TILT line, in order.
    std::vector<Token> tokens;
    std::size_t needed = 10 + 3;
    std::size_t tiltCount = 0;
    bool haveCounts = false;
    std::size_t lastLine = tiltLine;
    std::size_t stopColumn = 0;  // where the last needed number ended on lastLine
    bool complete = false;
    std::int32_t nV = 0;
    std::int32_t nH = 0;
    std::size_t tiltNumbers = tiltInclude ? 2 : 0;
    for (std::size_t li = tiltLine + 1; li < lines.size() && !complete; ++li) {
        const std::string& s = lines[li].text;
        if (s.size() > kMaxLine) {
            result.changes |= kLongLines;
        }
        std::size_t pos = 0;
        while (pos < s.size() && !complete) {
            while (pos < s.size() && isSeparator(s[pos])) {
                if (s[pos] == ',') {
                    result.changes |= kCommas;
                }
                ++pos;
            }
            if (pos >= s.size()) {
                break;
            }
            std::size_t end = pos;
            while (end < s.size() && !isSeparator(s[end])) {
                ++end;
            }
            const std::string word = s.substr(pos, end - pos);
            std::vector<float> values;
            bool whole = true;
            float v = 0.0f;
            if (parsePlainFloat(word.data(), word.data() + word.size(), v)) {
                values.push_back(v);
            } else {
                std::istringstream in(word);
                while (in >> v) {
                    values.push_back(v);
                }
                whole = in.eof();
            }
            if (values.empty() || !whole) {
                fail("line " + decimal(li + 1) + ": '" + word.substr(0, 40) +
                     "' is not a number (" + decimal(tokens.size()) +
                     " numbers read, more expected)");
            }
            if (values.size() > 1) {
                result.changes |= kNumbersRewritten;
            }
            for (std::size_t vi = 0; vi < values.size(); ++vi) {
                const float value = values[vi];
                tokens.push_back({values.size() == 1 ? word : formatFloat(value), value, li});
                // Tilt block: geometry, pair count N, then 2N numbers.
                if (tiltInclude && tokens.size() == 2) {
                    const std::int32_t pairs = truncateToInt(value);
                    if (pairs < 0 || pairs > kMaxAngleCount) {
                        fail("line " + decimal(li + 1) + ": absurd tilt pair count " +
                             word);
                    }
                    tiltCount = static_cast<std::size_t>(pairs);
                    tiltNumbers = 2 + 2 * tiltCount;
                }
                const std::size_t lum = tiltNumbers;
                if (!haveCounts && tokens.size() == lum + 10) {
                    nV = truncateToInt(tokens[lum + 3].value);
                    nH = truncateToInt(tokens[lum + 4].value);
                    if (nV < 1 || nH < 1 || nV > kMaxAngleCount || nH > kMaxAngleCount ||
                        static_cast<std::int64_t>(nV) * nH > kMaxCandelaCount) {
                        fail("line " + decimal(li + 1) + ": absurd angle counts " +
                             decimal(nV) + " x " + decimal(nH));
                    }
                    haveCounts = true;
                    needed = 10 + 3 + static_cast<std::size_t>(nV) + static_cast<std::size_t>(nH) +
                             static_cast<std::size_t>(nV) * static_cast<std::size_t>(nH);
                }
                if (haveCounts && tokens.size() == tiltNumbers + needed) {
                    complete = true;
                    if (vi + 1 != values.size()) {
                        result.changes |= kTrailingDropped;  // numbers left in the same word
                    }
                    break;
                }
            }
            pos = end;
            lastLine = li;
            stopColumn = end;
        }
    }
    if (!complete) {
        const std::string what = !haveCounts ? "the luminaire line" : "the candela values";
        fail("the data ends early: " + decimal(tokens.size()) + " numbers after the TILT " +
             "line, " + what + " incomplete");
    }

    // What follows the last candela value is dropped.
    const std::string rest = lines[lastLine].text.substr(stopColumn);
    if (rest.find_first_not_of(" \t\v\f,") != std::string::npos) {
        result.changes |= kTrailingDropped;
    }
    result.droppedLines = static_cast<int>(lines.size() - 1 - lastLine);
    if (result.droppedLines > 0) {
        result.changes |= kTrailingDropped;
    }

    // The canonical numeric layout.
    std::vector<std::string> data;
    std::size_t at = 0;
    if (tiltInclude) {
        appendWrapped(data, tokens, 0, 1);
        appendWrapped(data, tokens, 1, 2);
        appendWrapped(data, tokens, 2, 2 + tiltCount, kTiltNumbersPerLine);
        appendWrapped(data, tokens, 2 + tiltCount, 2 + 2 * tiltCount, kTiltNumbersPerLine);
        at = 2 + 2 * tiltCount;
    }
    const std::size_t lumBegin = at;
    {
        std::string lum;
        for (std::size_t i = at; i < at + 10; ++i) {
            lum += (i == at ? "" : " ") + tokens[i].text;
        }
        data.push_back(lum);
        // The luminaire line must have been one line of exactly ten numbers already.
        const std::size_t source = tokens[at].line;
        if (tokens[at + 9].line != source ||
            extractNumbers(lines[source].text).size() != 10) {
            result.changes |= kLuminaireJoined;
        }
        at += 10;
    }
    appendWrapped(data, tokens, at, at + 3);
    at += 3;
    appendWrapped(data, tokens, at, at + static_cast<std::size_t>(nV));
    at += static_cast<std::size_t>(nV);
    appendWrapped(data, tokens, at, at + static_cast<std::size_t>(nH));
    at += static_cast<std::size_t>(nH);
    for (std::int32_t h = 0; h < nH; ++h) {
        appendWrapped(data, tokens, at, at + static_cast<std::size_t>(nV));
        at += static_cast<std::size_t>(nV);
    }

    // A section (ballast, each angle list, each candela row) that shared a line with the one
    // before it had to be moved onto a line of its own; wrapping within a section is fine.
    {
        std::vector<std::size_t> starts = {lumBegin + 10, lumBegin + 13,
                                           lumBegin + 13 + static_cast<std::size_t>(nV)};
        std::size_t row = starts.back() + static_cast<std::size_t>(nH);
        for (std::int32_t h = 0; h < nH; ++h, row += static_cast<std::size_t>(nV)) {
            starts.push_back(row);
        }
        for (const std::size_t s : starts) {
            if (tokens[s].line == tokens[s - 1].line) {
                result.changes |= kRegrouped;
                break;
            }
        }
    }

    for (std::string& line : data) {
        out.push_back(std::move(line));
    }
    for (const std::string& line : out) {
        result.text += line;
        result.text.push_back('\n');
    }
    return result;
}
