// IESFile: construction, copying and the line loop that feeds the section parsers.
#include "photometry/ies_file.h"

#include <cstring>

#include "photometry/ies_parts.h"
#include "photometry/text_readers.h"

namespace {

template <class Reader>
void destroyReader(ITextReader* reader) {
    delete static_cast<Reader*>(reader);
}

template <class T>
T* copyArray(const T* source, std::int32_t count) {
    if (source == nullptr || count <= 0) {
        return nullptr;
    }
    T* copy = new T[static_cast<std::size_t>(count)];
    std::memcpy(copy, source, sizeof(T) * static_cast<std::size_t>(count));
    return copy;
}

}  // namespace

IESFile::IESFile()
    : queue_(new IESPartList),
      finished_(new IESPartList),
      webTexture_(vyr::kTextureClass),
      thetaCdfTexture_(vyr::kTextureClass),
      phiCdfTexture_(vyr::kTextureClass) {
    _initIESParts();
}

IESFile::IESFile(ITextReader* reader) : IESFile() { reader_ = reader; }

IESFile::IESFile(const IESFile& other)
    : queue_(new IESPartList), finished_(new IESPartList) {
    copyFrom(other);
}

IESFile& IESFile::operator=(const IESFile& other) {
    if (this != &other) {
        _deleteList(queue_);
        _deleteList(finished_);
        if (readerDestroy_ != nullptr) {
            readerDestroy_(reader_);
        }
        reader_ = nullptr;
        readerDestroy_ = nullptr;
        delete data_;
        data_ = nullptr;
        copyFrom(other);
    }
    return *this;
}

IESFile::~IESFile() {
    _deleteList(queue_);
    _deleteList(finished_);
    delete queue_;
    delete finished_;
    if (readerDestroy_ != nullptr) {
        readerDestroy_(reader_);
    }
    delete data_;
}

// A copy shares the host textures and the record's values but starts with fresh parts and no
// reader: it can read a file of its own.
void IESFile::copyFrom(const IESFile& other) {
    _initIESParts();
    webTexture_ = other.webTexture_;
    thetaCdfTexture_ = other.thetaCdfTexture_;
    phiCdfTexture_ = other.phiCdfTexture_;
    web_ = other.web_;
    marginal_ = other.marginal_;
    thetaCdf_ = other.thetaCdf_;
    phiCdf_ = other.phiCdf_;
    cdfTotal_ = other.cdfTotal_;
    if (other.data_ == nullptr) {
        return;
    }
    const IESFileData& from = *other.data_;
    auto* to = new IESFileData;
    data_ = to;
    to->version = from.version;
    if (from.keywords != nullptr) {
        std::size_t n = 0;
        while (from.keywords[n] != nullptr) {
            ++n;
        }
        to->keywords = new char*[n + 1]();
        for (std::size_t i = 0; i < n; ++i) {
            const std::size_t size = std::strlen(from.keywords[i]) + 1;
            to->keywords[i] = new char[size];
            std::memcpy(to->keywords[i], from.keywords[i], size);
        }
    }
    to->keywordCount = from.keywordCount;
    to->hasTilt = from.hasTilt;
    to->reservedA = from.reservedA;
    to->reservedB = from.reservedB;
    to->lampCount = from.lampCount;
    to->lumensPerLamp = from.lumensPerLamp;
    to->candelaMultiplier = from.candelaMultiplier;
    to->verticalAngleCount = from.verticalAngleCount;
    to->horizontalAngleCount = from.horizontalAngleCount;
    to->photometricType = from.photometricType;
    to->unitsType = from.unitsType;
    to->width = from.width;
    to->length = from.length;
    to->height = from.height;
    to->ballastFactor = from.ballastFactor;
    to->ballastLampFactor = from.ballastLampFactor;
    to->inputWatts = from.inputWatts;
    // Arrays exist only with counts that match them (each part writes both together).
    to->verticalAngles = copyArray(from.verticalAngles, from.verticalAngleCount);
    to->horizontalAngles = copyArray(from.horizontalAngles, from.horizontalAngleCount);
    if (from.candelas != nullptr && from.verticalAngleCount > 0 && from.horizontalAngleCount > 0) {
        const std::size_t count = static_cast<std::size_t>(from.verticalAngleCount) *
                                  static_cast<std::size_t>(from.horizontalAngleCount);
        to->candelas = new float[count];
        std::memcpy(to->candelas, from.candelas, sizeof(float) * count);
    }
    to->symmetryMode = from.symmetryMode;
    to->maxCandela = from.maxCandela;
}

void IESFile::_initIESParts() {
    std::deque<PartSlot>& q = queue_->parts;
    q.push_back({newPart<IESPartHeader>(), &destroyPart<IESPartHeader>});
    q.push_back({newPart<IESPartKeyWords>(), &destroyPart<IESPartKeyWords>});
    q.push_back({newPart<IESPartTILT>(), &destroyPart<IESPartTILT>});
    q.push_back({newPart<IESPartContents>(), &destroyPart<IESPartContents>});
    q.push_back({newPart<IESPartSymMode>(), &destroyPart<IESPartSymMode>});
}

void IESFile::_deleteList(IESPartList* list) {
    for (const PartSlot& slot : list->parts) {
        slot.destroy(slot.part);
    }
    list->parts.clear();
}

std::string IESFile::trim(const std::string& text, const std::string& set) {
    const std::size_t last = text.find_last_not_of(set);
    if (last == std::string::npos) {
        return std::string();
    }
    const std::size_t first = text.find_first_not_of(set);
    return text.substr(first, last - first + 1);
}

void IESFile::readIES(ITextReader* reader) {
    static const std::string kBlank(" ");
    std::deque<PartSlot>& queue = queue_->parts;
    std::deque<PartSlot>& finished = finished_->parts;
    std::string line = trim(reader->readLine(), kBlank);
    while (!queue.empty()) {
        if (reader->isEof()) {
            break;
        }
        const PartSlot slot = queue.front();
        // Deliberate: the end of data is not tested here; a part that accepts empty lines keeps
        // taking them (see GuardedReader).
        while (slot.part->accepts(line)) {
            slot.part->parse(line);
            line = trim(reader->readLine(), kBlank);
        }
        finished.push_back(slot);
        queue.pop_front();
    }
    for (const PartSlot& slot : queue) {
        finished.push_back(slot);
    }
    queue.clear();
}

void IESFile::applyParts() {
    // The previous record is freed: callers must not keep data() across reads.
    delete data_;
    data_ = nullptr;
    data_ = new IESFileData;
    for (const PartSlot& slot : finished_->parts) {
        slot.part->apply(data_);
    }
}

void IESFile::read(const std::wstring& path) {
    if (reader_ == nullptr) {
        reader_ = new STLTextReader;
        readerDestroy_ = &destroyReader<STLTextReader>;
    }
    reader_->open(path.c_str());
    try {
        readIES(reader_);
        applyParts();
    } catch (...) {
        // Deliberate: a file read reports nothing; the record stays as far as it was built.
    }
    reader_->close();
}

void IESFile::read(const char* buffer) {
    if (reader_ == nullptr) {
        reader_ = new BufferReader;
        readerDestroy_ = &destroyReader<BufferReader>;
    }
    if (!reader_->open(buffer)) {
        return;
    }
    readIES(reader_);
    applyParts();
}

// --- GuardedReader --------------------------------------------------------------------------

IESFile::GuardedReader::GuardedReader(Source source, int pastEndBudget)
    : source_(source), budget_(pastEndBudget) {
    if (source_ == Source::File) {
        inner_ = new STLTextReader;
    } else {
        inner_ = new InPlaceBufferReader;
    }
}

IESFile::GuardedReader::~GuardedReader() {
    if (source_ == Source::File) {
        delete static_cast<STLTextReader*>(inner_);
    } else {
        delete static_cast<InPlaceBufferReader*>(inner_);
    }
}

bool IESFile::GuardedReader::open(const void* source) {
    pastEndReads_ = 0;
    failure_.clear();
    return inner_->open(source);
}

void IESFile::GuardedReader::close() { inner_->close(); }

bool IESFile::GuardedReader::isEof() { return inner_->isEof(); }

bool IESFile::GuardedReader::exhausted() {
    if (source_ == Source::File) {
        return static_cast<STLTextReader*>(inner_)->exhausted();
    }
    return inner_->isEof();
}

const char* IESFile::GuardedReader::readLine() {
    if (exhausted()) {
        ++pastEndReads_;
        if (pastEndReads_ > budget_) {
            failure_ = source_ == Source::File && !inner_->isEof()
                           ? "the read never finishes: the file stream failed (a line longer "
                             "than 255 characters, or the file could not be read)"
                           : "the read never finishes: the data ends before the luminaire data "
                             "is complete (no line of exactly ten luminaire numbers, or missing "
                             "values), or extra lines follow the candela values";
            throw EndlessRead(failure_);
        }
    }
    return inner_->readLine();
}

signed char IESFile::GuardedReader::readChar() { return inner_->readChar(); }
