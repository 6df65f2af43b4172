#include <algorithm>
#include "photometry/ies_parts.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>

namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// A token of the plain decimal form [sign] digits [. digits] [e [sign] digits] with at least one
// digit: the only form the fast path converts; everything else goes through the stream.
bool isPlainDecimal(const char* p, const char* end) {
    if (p != end && *p == '-') ++p;
    int digits = 0;
    while (p != end && *p >= '0' && *p <= '9') ++p, ++digits;
    if (p != end && *p == '.') {
        ++p;
        while (p != end && *p >= '0' && *p <= '9') ++p, ++digits;
    }
    if (digits == 0) return false;
    if (p != end && (*p == 'e' || *p == 'E')) {
        ++p;
        if (p != end && (*p == '+' || *p == '-')) ++p;
        int exponentDigits = 0;
        while (p != end && *p >= '0' && *p <= '9') ++p, ++exponentDigits;
        if (exponentDigits == 0) return false;
    }
    return p == end;
}

}  // namespace

bool parsePlainFloat(const char* begin, const char* end, float& value) {
    if (!isPlainDecimal(begin, end)) {
        return false;
    }
    const auto [ptr, error] = std::from_chars(begin, end, value);
    return error == std::errc() && ptr == end;
}

// Plain decimal tokens are converted directly (correctly rounded, as the stream's conversion
// is); at the first other token the rest of the line goes through a string stream, which then
// decides exactly as it would have from the start.
std::vector<float> extractNumbers(const std::string& line) {
    std::vector<float> numbers;
    const char* p = line.data();
    const char* const end = p + line.size();
    for (;;) {
        while (p != end && isBlank(*p)) ++p;
        if (p == end) {
            return numbers;
        }
        const char* tokenEnd = p;
        while (tokenEnd != end && !isBlank(*tokenEnd)) ++tokenEnd;
        float value = 0.0f;
        if (!parsePlainFloat(p, tokenEnd, value)) {
            break;
        }
        numbers.push_back(value);
        p = tokenEnd;
    }
    std::istringstream in(std::string(p, end));
    float value = 0.0f;
    while (in >> value) {
        numbers.push_back(value);
    }
    return numbers;
}

std::int32_t truncateToInt(float value) {
    if (!(value == value)) {
        return 0;
    }
    if (value >= 2147483648.0f) {
        return std::numeric_limits<std::int32_t>::max();
    }
    if (value <= -2147483648.0f) {
        return std::numeric_limits<std::int32_t>::min();
    }
    return static_cast<std::int32_t>(value);
}

namespace {

bool startsWithNoCase(const std::string& line, const char* prefix) {
    const std::size_t n = std::strlen(prefix);
    if (line.size() < n) {
        return false;
    }
    for (std::size_t i = 0; i < n; ++i) {
        if (std::toupper(static_cast<unsigned char>(line[i])) != prefix[i]) {
            return false;
        }
    }
    return true;
}

// Count arithmetic that saturates instead of overflowing on absurd tilt counts.
std::int32_t saturatingAdd(std::int32_t a, std::int64_t b) {
    const std::int64_t sum = static_cast<std::int64_t>(a) + b;
    if (sum > std::numeric_limits<std::int32_t>::max()) {
        return std::numeric_limits<std::int32_t>::max();
    }
    if (sum < std::numeric_limits<std::int32_t>::min()) {
        return std::numeric_limits<std::int32_t>::min();
    }
    return static_cast<std::int32_t>(sum);
}

}  // namespace

bool IESPartHeader::accepts(const std::string& line) { return startsWithNoCase(line, "IESNA"); }

void IESPartHeader::apply(IESFileData* data) {
    // Deliberate: only the text decides; "IESNA91" names no year and reads as 1986.
    if (text.find("1991") != std::string::npos) {
        data->version = 1991;
    } else if (text.find("1995") != std::string::npos) {
        data->version = 1995;
    } else {
        data->version = 1986;
    }
}

void IESPartKeyWords::apply(IESFileData* data) {
    if (data->keywords != nullptr) {
        for (std::int32_t i = 0; i < data->keywordCount; ++i) {
            delete[] data->keywords[i];
        }
        delete[] data->keywords;
        data->keywords = nullptr;
    }
    if (lines.empty()) {
        return;
    }
    // One slot more than lines: the array ends with a null pointer, since keywordCount stays 0.
    data->keywords = new char*[lines.size() + 1]();
    for (std::size_t i = 0; i < lines.size(); ++i) {
        char* copy = new char[lines[i].size() + 1];
        std::memcpy(copy, lines[i].c_str(), lines[i].size() + 1);
        data->keywords[i] = copy;
    }
    // Deliberate: keywordCount is not written.
}

bool IESPartTILT::accepts(const std::string& line) {
    if (text.empty()) {
        return startsWithNoCase(line, "TILT=");
    }
    return expected != 0;
}

void IESPartTILT::parse(const std::string& line) {
    if (text.empty()) {
        text = line.substr(5);
        for (char& c : text) {
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        }
        // Deliberate: an exact match, so "INCLUDE" followed by a carriage return is not it.
        if (text == "INCLUDE") {
            expected = 2;
            linesTaken = 0;
        }
        return;
    }
    ++linesTaken;
    for (const float number : extractNumbers(line)) {
        if (linesTaken == 2) {
            expected = saturatingAdd(expected, 2 * static_cast<std::int64_t>(truncateToInt(number)));
        }
        expected = saturatingAdd(expected, -1);
    }
}

void IESPartLumHeader::parse(const std::string& line) {
    for (const float number : extractNumbers(line)) {
        switch (field) {
            case 0: lampCount = truncateToInt(number); break;
            case 1: lumensPerLamp = number; break;
            case 2: candelaMultiplier = number; break;
            case 3: verticalAngleCount = truncateToInt(number); break;
            case 4: horizontalAngleCount = truncateToInt(number); break;
            case 5: photometricType = truncateToInt(number); break;
            case 6: unitsType = truncateToInt(number); break;
            case 7: width = number; break;
            case 8: length = number; break;
            case 9: height = number; break;
            default: break;  // numbers past the tenth are ignored
        }
        if (field < 10) {
            ++field;
        }
    }
}

void IESPartLumHeader::apply(IESFileData* data) {
    data->lampCount = lampCount;
    data->lumensPerLamp = lumensPerLamp;
    data->candelaMultiplier = candelaMultiplier;
    data->verticalAngleCount = verticalAngleCount;
    data->horizontalAngleCount = horizontalAngleCount;
    data->photometricType = photometricType;
    data->unitsType = unitsType;
    data->width = width;
    data->length = length;
    data->height = height;
}

void IESPartBallast::parse(const std::string& line) {
    for (const float number : extractNumbers(line)) {
        if (field >= 0 && field <= 2) {
            values[field] = number;
        }
        if (field < 3) {
            ++field;
        }
    }
}

void IESPartBallast::apply(IESFileData* data) {
    data->ballastFactor = values[0];
    data->ballastLampFactor = values[1];
    data->inputWatts = values[2];
}

void IESPartAngles::parse(const std::string& line) {
    for (const float number : extractNumbers(line)) {
        // Deliberate: surplus numbers on the last line are taken (and counted) but not handed on.
        values.push_back(number);
        if (taken < std::numeric_limits<std::int32_t>::max()) {
            ++taken;
        }
    }
}

float* IESPartAngles::collected() const {
    if (expected <= 0) {
        return nullptr;
    }
    const auto count = static_cast<std::size_t>(expected);
    float* array = new float[count]();
    const std::size_t available = values.size() < count ? values.size() : count;
    for (std::size_t i = 0; i < available; ++i) {
        array[i] = values[i];
    }
    return array;
}

void IESPartVerticals::apply(IESFileData* data) {
    float* array = collected();
    delete[] data->verticalAngles;
    data->verticalAngles = array;
    data->verticalAngleCount = expected;
}

void IESPartHorizons::apply(IESFileData* data) {
    float* array = collected();
    delete[] data->horizontalAngles;
    data->horizontalAngles = array;
    data->horizontalAngleCount = expected;
}

void IESPartCandelas::parse(const std::string& line) {
    for (const float number : extractNumbers(line)) {
        // Values beyond the last cell of the grid are not stored.
        if (!accepts(line)) {
            break;
        }
        if (gridSize == gridCapacity) {
            // Double up to the grid's size: at most the grid and half of it live while growing.
            const std::size_t cells = static_cast<std::size_t>(nV) * static_cast<std::size_t>(nH);
            const std::size_t grown = std::min(cells, std::max<std::size_t>(1024, 2 * gridCapacity));
            std::unique_ptr<float[]> larger(new float[grown]);
            std::copy(grid.get(), grid.get() + gridSize, larger.get());
            grid = std::move(larger);
            gridCapacity = grown;
        }
        grid[gridSize++] = number;
        ++vi;
        if (vi == nV) {
            vi = 0;
            ++hi;
        }
    }
}

void IESPartCandelas::apply(IESFileData* data) {
    const std::size_t count = (nV > 0 && nH > 0)
                                  ? static_cast<std::size_t>(nV) * static_cast<std::size_t>(nH)
                                  : 0;
    // Copied, not handed over: a later read applies these parts again.
    float* array = count > 0 ? new float[count]() : nullptr;
    if (array != nullptr) {
        std::copy(grid.get(), grid.get() + std::min(gridSize, count), array);
    }
    delete[] data->candelas;
    data->candelas = array;
    for (std::size_t i = 0; i < count; ++i) {
        const float value = array[i];
        if (value > data->maxCandela) {
            data->maxCandela = value;
        }
    }
    data->horizontalAngleCount = nH;
    data->verticalAngleCount = nV;
}

IESPartContents::~IESPartContents() {
    for (const Slot& slot : queue) {
        slot.destroy(slot.part);
    }
    for (const Slot& slot : finished) {
        slot.destroy(slot.part);
    }
}

void IESPartContents::parse(const std::string& line) {
    if (!headerSeen) {
        // Every line before the luminaire header is dropped.
        if (lumHeader.accepts(line)) {
            lumHeader.parse(line);
            headerSeen = true;
            const std::int32_t nV = lumHeader.verticalCount();
            const std::int32_t nH = lumHeader.horizontalCount();
            enqueue<IESPartBallast>();
            enqueue<IESPartVerticals>(nV);
            enqueue<IESPartHorizons>(nH);
            enqueue<IESPartCandelas>(nV, nH);
        }
        return;
    }
    while (!queue.empty() && !queue.front().part->accepts(line)) {
        finished.push_back(queue.front());
        queue.pop_front();
    }
    if (queue.empty()) {
        return;  // Deliberate: the line after the last candela value is taken and dropped.
    }
    queue.front().part->parse(line);
}

void IESPartContents::apply(IESFileData* data) {
    lumHeader.apply(data);
    for (const Slot& slot : finished) {
        slot.part->apply(data);
    }
}

void IESPartSymMode::apply(IESFileData* data) {
    data->symmetryMode = 0;
    const float* h = data->horizontalAngles;
    const std::int32_t nH = data->horizontalAngleCount;
    // Without the horizontal angles there is nothing to derive a symmetry from.
    if (h == nullptr || nH < 1) {
        return;
    }
    float minH = h[0];
    float maxH = h[0];
    for (std::int32_t i = 0; i < nH; ++i) {
        if (std::isnan(h[i])) {
            return;
        }
        if (h[i] < minH) {
            minH = h[i];
        }
        if (h[i] > maxH) {
            maxH = h[i];
        }
    }
    if (data->photometricType != 1) {
        if ((maxH == 0.0f && minH == -90.0f) || (maxH == 90.0f && minH == 0.0f)) {
            data->symmetryMode = 1;
        }
        return;
    }
    if (nH == 1 || (nH == 2 && h[0] == 0.0f && h[1] == 360.0f)) {
        data->symmetryMode = 3;
    } else if (maxH == minH + 180.0f) {
        data->symmetryMode = 1;
    } else if (maxH == minH + 90.0f) {
        data->symmetryMode = 2;
    }
}
