// The section parsers of IESFile: each is offered the current line, takes lines while it accepts
// them, and writes what it collected into the record at the end. Internal to the library.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "photometry/ies_file.h"

// Three operations in this slot order; no virtual destructor: owners delete the concrete object
// (PartPtr remembers how).
class IIESPart {
public:
    virtual bool accepts(const std::string& line) = 0;
    virtual void parse(const std::string& line) = 0;
    virtual void apply(IESFileData* data) = 0;

protected:
    ~IIESPart() = default;
};

using PartDestroy = void (*)(IIESPart*);

template <class Part, class... Args>
Part* newPart(Args&&... args) {
    return new Part(std::forward<Args>(args)...);
}

template <class Part>
void destroyPart(IIESPart* part) {
    delete static_cast<Part*>(part);
}

// A section parser and how to delete it.
struct PartSlot {
    IIESPart* part;
    PartDestroy destroy;
};

struct IESPartList {
    std::deque<PartSlot> parts;
};

// The floats of a line, extracted one after another as a string stream does until the first
// extraction fails; the rest of the line is ignored.
std::vector<float> extractNumbers(const std::string& line);
// Converts [begin, end) when it is one plain decimal number that a stream would read whole to
// the same float; false (value unspecified) for anything else.
bool parsePlainFloat(const char* begin, const char* end, float& value);
// An integer field: the float truncated toward zero (saturated to the int32 range).
std::int32_t truncateToInt(float value);

class IESPartHeader final : public IIESPart {
public:
    bool accepts(const std::string& line) override;
    void parse(const std::string& line) override { text = line; }
    void apply(IESFileData* data) override;

private:
    std::string text;
};

class IESPartKeyWords final : public IIESPart {
public:
    bool accepts(const std::string& line) override { return !line.empty() && line[0] == '['; }
    void parse(const std::string& line) override { lines.push_back(line); }
    void apply(IESFileData* data) override;

private:
    std::vector<std::string> lines;
};

class IESPartTILT final : public IIESPart {
public:
    bool accepts(const std::string& line) override;
    void parse(const std::string& line) override;
    void apply(IESFileData* data) override { data->hasTilt = false; }

private:
    std::string text;
    std::int32_t expected = 0;
    std::int32_t linesTaken = 0;
};

class IESPartLumHeader final : public IIESPart {
public:
    bool accepts(const std::string& line) override { return extractNumbers(line).size() == 10; }
    void parse(const std::string& line) override;
    void apply(IESFileData* data) override;

    std::int32_t verticalCount() const { return verticalAngleCount; }
    std::int32_t horizontalCount() const { return horizontalAngleCount; }

private:
    std::int32_t field = 0;
    std::int32_t lampCount = 1;
    float lumensPerLamp = 1.0f;
    float candelaMultiplier = 1.0f;
    std::int32_t verticalAngleCount = 1;
    std::int32_t horizontalAngleCount = 1;
    std::int32_t photometricType = 1;
    std::int32_t unitsType = 1;
    float width = 0.0f;
    float length = 0.0f;
    float height = 0.0f;
};

class IESPartBallast final : public IIESPart {
public:
    bool accepts(const std::string&) override { return field >= 0 && field <= 2; }
    void parse(const std::string& line) override;
    void apply(IESFileData* data) override;

private:
    std::int32_t field = 0;
    float values[3] = {1.0f, 1.0f, 50.0f};
};

// Collects a list of angles; the two subclasses differ in the record fields they write.
class IESPartAngles : public IIESPart {
public:
    explicit IESPartAngles(std::int32_t expectedCount) : expected(expectedCount) {}
    bool accepts(const std::string&) override { return taken >= 0 && taken < expected; }
    void parse(const std::string& line) override;

protected:
    ~IESPartAngles() = default;
    // A new array of the expected length (null when that is not positive) with the values.
    float* collected() const;

    std::int32_t expected;
    std::int32_t taken = 0;
    std::vector<float> values;
};

class IESPartVerticals final : public IESPartAngles {
public:
    using IESPartAngles::IESPartAngles;
    void apply(IESFileData* data) override;
};

class IESPartHorizons final : public IESPartAngles {
public:
    using IESPartAngles::IESPartAngles;
    void apply(IESFileData* data) override;
};

class IESPartCandelas final : public IIESPart {
public:
    IESPartCandelas(std::int32_t verticalCount, std::int32_t horizontalCount)
        : nV(verticalCount), nH(horizontalCount) {}
    bool accepts(const std::string&) override {
        return vi >= 0 && vi < nV && hi >= 0 && hi < nH;
    }
    void parse(const std::string& line) override;
    void apply(IESFileData* data) override;

private:
    std::int32_t nV;
    std::int32_t nH;
    std::int32_t vi = 0;
    std::int32_t hi = 0;
    // The grid row after row (h * nV + v). Values arrive in exactly that order, so the grid grows
    // as they are read instead of being allocated from the header's counts; unread cells are 0.
    // It never grows past nV × nH.
    std::unique_ptr<float[]> grid;
    std::size_t gridSize = 0;
    std::size_t gridCapacity = 0;
};

class IESPartContents final : public IIESPart {
public:
    IESPartContents() = default;
    ~IESPartContents();
    IESPartContents(const IESPartContents&) = delete;
    IESPartContents& operator=(const IESPartContents&) = delete;

    bool accepts(const std::string&) override { return !headerSeen || !queue.empty(); }
    void parse(const std::string& line) override;
    void apply(IESFileData* data) override;

private:
    using Slot = PartSlot;
    template <class Part, class... Args>
    void enqueue(Args&&... args) {
        queue.push_back({newPart<Part>(std::forward<Args>(args)...), &destroyPart<Part>});
    }

    IESPartLumHeader lumHeader;
    bool headerSeen = false;
    std::deque<Slot> queue;
    std::deque<Slot> finished;
};

class IESPartSymMode final : public IIESPart {
public:
    bool accepts(const std::string&) override { return true; }
    void parse(const std::string&) override {}
    void apply(IESFileData* data) override;
};
