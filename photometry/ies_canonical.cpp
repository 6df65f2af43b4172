// IESFile::canonicalize: brings the text of a real-world LM-63 file into the layout that the
// line reader reads to completion, and says what it had to change.
#include <cctype>
#include <cstdio>
#include <sstream>
#include <string_view>

#include "photometry/ies_file.h"
#include "photometry/ies_parts.h"

namespace {

constexpr std::size_t kMaxLine = 255;
// Tilt numbers are written a few to a line so that no tilt line can pass for the ten-number
// luminaire line when the tilt block is read as ordinary text.
constexpr std::size_t kTiltNumbersPerLine = 8;

// The text's lines one at a time, without their endings: LF, CR LF and a lone CR each end a
// line, zero bytes are dropped (a zero would end the text early for a buffer read), and a last
// line without an ending counts only when it holds something. Views into the text where possible,
// so nothing proportional to the file is copied.
class LineCursor {
public:
    explicit LineCursor(const std::string& text) : text_(text) {}

    bool next(std::string_view& line) {
        const std::size_t size = text_.size();
        if (pos_ >= size) {
            return false;
        }
        const std::size_t start = pos_;
        std::size_t i = start;
        bool zero = false;
        bool any = false;
        while (i < size && text_[i] != '\n' && text_[i] != '\r') {
            if (text_[i] == '\0') {
                zero = true;
            } else {
                any = true;
            }
            ++i;
        }
        const std::size_t end = i;
        if (i == size) {
            pos_ = size;
            if (!any) {
                return false;
            }
        } else {
            if (text_[i] == '\r') {
                sawCarriageReturn = true;
                if (i + 1 < size && text_[i + 1] == '\n') {
                    ++i;
                }
            }
            pos_ = i + 1;
        }
        if (zero) {
            scratch_.clear();
            for (std::size_t k = start; k < end; ++k) {
                if (text_[k] != '\0') scratch_.push_back(text_[k]);
            }
            line = scratch_;
        } else {
            line = std::string_view(text_).substr(start, end - start);
        }
        ++index;
        return true;
    }

    bool sawCarriageReturn = false;
    std::size_t index = 0;  // lines handed out so far

private:
    const std::string& text_;
    std::size_t pos_ = 0;
    std::string scratch_;
};

bool isSeparator(char c) {
    return c == ' ' || c == '\t' || c == '\v' || c == '\f' || c == ',';
}

std::string upper(std::string_view view) {
    std::string s(view);
    for (char& c : s) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return s;
}

std::string_view trimWhite(std::string_view s) {
    const std::size_t first = s.find_first_not_of(" \t\v\f");
    if (first == std::string_view::npos) {
        return std::string_view();
    }
    const std::size_t last = s.find_last_not_of(" \t\v\f");
    return s.substr(first, last - first + 1);
}

// Only blanks, as the reader trims its lines.
std::string_view trimSpaces(std::string_view s) {
    const std::size_t first = s.find_first_not_of(' ');
    if (first == std::string_view::npos) {
        return std::string_view();
    }
    return s.substr(first, s.find_last_not_of(' ') - first + 1);
}

std::string formatFloat(float value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.9g", static_cast<double>(value));
    return buffer;
}

// Writes the numbers of the canonical layout as they are read: each section (a tilt list, the
// luminaire line, the ballast line, an angle list, a candela row) starts a line, and a section's
// numbers wrap onto lines of at most 255 characters (or `perLine` numbers); the luminaire line
// never wraps.
class Emitter {
public:
    explicit Emitter(std::string& out) : out_(out) {}

    void startSection(std::size_t perLine, bool wraps) {
        finishLine();
        perLine_ = perLine;
        wraps_ = wraps;
    }

    void add(std::string_view token) {
        const bool full = perLine_ != 0 && onLine_ == perLine_;
        if (onLine_ != 0 && wraps_ && (full || lineLength_ + 1 + token.size() > kMaxLine)) {
            finishLine();
        }
        if (onLine_ != 0) {
            out_.push_back(' ');
            ++lineLength_;
        }
        out_.append(token);
        lineLength_ += token.size();
        ++onLine_;
    }

    void finishLine() {
        if (onLine_ != 0) {
            out_.push_back('\n');
        }
        onLine_ = 0;
        lineLength_ = 0;
    }

private:
    std::string& out_;
    std::size_t perLine_ = 0;
    bool wraps_ = true;
    std::size_t onLine_ = 0;
    std::size_t lineLength_ = 0;
};

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
    if (changes & kLabelsDropped) {
        parts.emplace_back("label lines that read as the luminaire numbers dropped");
    }
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

// One pass over the text: header lines are copied, the numbers after the TILT line are
// written into their canonical lines as they are read, and only a handful of positions are
// remembered for the report, so the memory used is the text plus the canonical text.
IESFile::Canonical IESFile::canonicalize(const std::string& text) {
    Canonical result;
    std::string& out = result.text;
    out.reserve(text.size() + 64);
    LineCursor cursor(text);
    std::string_view line;

    // The TILT line ends the free-form part of the file. The reader's chain takes a run of
    // IESNA lines, then a run of keyword lines; any other line ends both, and from there on the
    // reader skips lines until one of exactly ten numbers, which it takes for the luminaire line.
    // Such a label line is dropped, since the reader would never finish after it.
    bool tiltFound = false;
    enum class Run { Header, Keywords, Free } run = Run::Header;
    while (cursor.next(line)) {
        const std::string_view t = trimWhite(line);
        if (t.size() >= 5 && upper(t.substr(0, 5)) == "TILT=") {
            tiltFound = true;
            break;
        }
        const std::string_view r = trimSpaces(line);
        if (run == Run::Header && !(r.size() >= 5 && upper(r.substr(0, 5)) == "IESNA")) {
            run = Run::Keywords;
        }
        if (run == Run::Keywords && (r.empty() || r[0] != '[')) {
            run = Run::Free;
        }
        if (run == Run::Free && extractNumbers(std::string(r)).size() == 10) {
            result.changes |= kLabelsDropped;
            continue;
        }
        out.append(line);
        out.push_back('\n');
    }
    if (!tiltFound) {
        fail("no TILT= line: not an LM-63 photometric file");
    }
    const std::string tiltValue(trimWhite(trimWhite(line).substr(5)));
    const bool tiltInclude = upper(tiltValue) == "INCLUDE";
    const std::string tiltText = "TILT=" + (tiltInclude || upper(tiltValue) == "NONE"
                                                ? upper(tiltValue)
                                                : tiltValue);
    if (tiltText != line) {
        result.changes |= kTiltLine;
    }
    out += tiltText;
    out.push_back('\n');

    // Every number after the TILT line, in order, straight into its canonical line.
    Emitter emit(out);
    std::size_t count = 0;  // numbers read
    std::size_t needed = 10 + 3;
    std::size_t tiltCount = 0;
    bool haveCounts = false;
    std::size_t lastLine = cursor.index - 1;
    std::size_t stopColumn = 0;  // where the last needed number ended on lastLine
    bool complete = false;
    std::int32_t nV = 0;
    std::int32_t nH = 0;
    std::size_t tiltNumbers = tiltInclude ? 2 : 0;
    std::size_t previousLine = 0;      // line of the number before this one
    std::size_t luminaireLine = 0;     // line of the first luminaire number
    std::string formatted;
    std::vector<float> values;
    float countV = 0.0f;
    float countH = 0.0f;
    while (!complete && cursor.next(line)) {
        const std::size_t li = cursor.index - 1;
        const std::string_view s = line;
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
            const std::string_view word = s.substr(pos, end - pos);
            values.clear();
            bool whole = true;
            float v = 0.0f;
            if (parsePlainFloat(word.data(), word.data() + word.size(), v)) {
                values.push_back(v);
            } else {
                // Whole only when the extraction that failed began at the end of the word: a
                // failed one can still eat characters ("0+", "1.2."), and the reader's stream
                // would stop on them and lose the rest of the line.
                std::istringstream in{std::string(word)};
                std::streamsize left = 0;
                for (;;) {
                    left = in.rdbuf()->in_avail();
                    if (!(in >> v)) break;
                    values.push_back(v);
                }
                whole = left <= 0;
            }
            if (values.empty() || !whole) {
                fail("line " + decimal(static_cast<long long>(li + 1)) + ": '" +
                     std::string(word.substr(0, 40)) + "' is not a number (" +
                     decimal(static_cast<long long>(count)) + " numbers read, more expected)");
            }
            if (values.size() > 1) {
                result.changes |= kNumbersRewritten;
            }
            for (std::size_t vi = 0; vi < values.size(); ++vi) {
                const float value = values[vi];
                const std::size_t k = count;  // this number's index
                ++count;
                // Tilt block: geometry, pair count N, then 2N numbers.
                if (tiltInclude && count == 2) {
                    const std::int32_t pairs = truncateToInt(value);
                    if (pairs < 0 || pairs > kMaxAngleCount) {
                        fail("line " + decimal(static_cast<long long>(li + 1)) +
                             ": absurd tilt pair count " + std::string(word));
                    }
                    tiltCount = static_cast<std::size_t>(pairs);
                    tiltNumbers = 2 + 2 * tiltCount;
                }
                const std::size_t lum = tiltNumbers;
                // Where this number goes: a section that starts here starts a line.
                if (tiltInclude && k < 2) {
                    emit.startSection(0, true);
                } else if (tiltInclude && k < lum) {
                    if (k == 2 || k == 2 + tiltCount) {
                        emit.startSection(kTiltNumbersPerLine, true);
                    }
                } else if (k == lum) {
                    emit.startSection(0, false);
                    luminaireLine = li;
                    // The luminaire line must have been one line of exactly ten numbers already.
                    if (extractNumbers(std::string(s)).size() != 10) {
                        result.changes |= kLuminaireJoined;
                    }
                } else if (k == lum + 9) {
                    if (li != luminaireLine) {
                        result.changes |= kLuminaireJoined;
                    }
                } else if (k >= lum + 10) {
                    const std::size_t rows = lum + 13 + static_cast<std::size_t>(nV) +
                                             static_cast<std::size_t>(nH);
                    const bool starts =
                        k == lum + 10 || k == lum + 13 ||
                        k == lum + 13 + static_cast<std::size_t>(nV) ||
                        (k >= rows && (k - rows) % static_cast<std::size_t>(nV) == 0);
                    if (starts) {
                        emit.startSection(0, true);
                        // A section that shared a line with the one before it had to be moved
                        // onto a line of its own; wrapping within a section is fine.
                        if (li == previousLine) {
                            result.changes |= kRegrouped;
                        }
                    }
                }
                if (values.size() == 1) {
                    emit.add(word);
                } else {
                    formatted = formatFloat(value);
                    emit.add(formatted);
                }
                previousLine = li;
                if (k == lum + 3) {
                    countV = value;
                } else if (k == lum + 4) {
                    countH = value;
                }
                if (!haveCounts && count == lum + 10) {
                    nV = truncateToInt(countV);
                    nH = truncateToInt(countH);
                    if (nV < 1 || nH < 1 || nV > kMaxAngleCount || nH > kMaxAngleCount ||
                        static_cast<std::int64_t>(nV) * nH > kMaxCandelaCount) {
                        fail("line " + decimal(static_cast<long long>(li + 1)) +
                             ": absurd angle counts " + decimal(nV) + " x " + decimal(nH));
                    }
                    haveCounts = true;
                    needed = 10 + 3 + static_cast<std::size_t>(nV) + static_cast<std::size_t>(nH) +
                             static_cast<std::size_t>(nV) * static_cast<std::size_t>(nH);
                }
                if (haveCounts && count == tiltNumbers + needed) {
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
        if (complete) {
            // What follows the last candela value is dropped.
            const std::string_view rest = s.substr(stopColumn);
            if (rest.find_first_not_of(" \t\v\f,") != std::string_view::npos) {
                result.changes |= kTrailingDropped;
            }
        }
    }
    if (!complete) {
        const std::string what = !haveCounts ? "the luminaire line" : "the candela values";
        fail("the data ends early: " + decimal(static_cast<long long>(count)) +
             " numbers after the TILT line, " + what + " incomplete");
    }
    emit.finishLine();
    while (cursor.next(line)) {
    }
    result.droppedLines = static_cast<int>(cursor.index - 1 - lastLine);
    if (result.droppedLines > 0) {
        result.changes |= kTrailingDropped;
    }
    if (cursor.sawCarriageReturn) {
        result.changes |= kLineEndings;
    }
    return result;
}
