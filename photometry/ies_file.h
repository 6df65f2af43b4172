// IESFile: reads a measured lamp from an IES LM-63 text (1986, 1991 and 1995 editions) into an
// IESFileData record, samples its candela grid under the file's symmetry, and turns it into the
// web texture and the importance-sampling tables of the photometric web light.
//
// The reader is a chain of small section parsers fed line by line. That loop is kept exactly as
// the format's reference behaviour has it, which means some malformed inputs never finish (see
// GuardedReader). Host applications that read files from users should canonicalise the text and
// read it through a GuardedReader:
//
//     IESFile::Canonical canon = IESFile::canonicalize(bytes);      // throws CanonicalError
//     IESFile::GuardedReader reader(IESFile::GuardedReader::Source::Buffer);
//     IESFile file(&reader);
//     file.read(canon.text.c_str());                                 // throws EndlessRead
//
// Everything this header exports belongs to IESFile. ITextReader is a pure interface (nothing is
// exported for it) so that hosts may pass their own readers.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "vyr/export.h"
#include "vyr/handles.h"

// A line reader over a file or a memory text. Five operations in this slot order; no virtual
// destructor: owners delete the concrete object.
class ITextReader {
public:
    // The source: a `const wchar_t*` path for file readers, a `const char*` zero-terminated
    // text for buffer readers. Returns whether the reader is ready to read.
    virtual bool open(const void* source) = 0;
    virtual void close() = 0;
    virtual bool isEof() = 0;
    // The next line without its line-feed; valid until the next readLine on this reader.
    virtual const char* readLine() = 0;
    virtual signed char readChar() = 0;

protected:
    ITextReader() = default;
    ITextReader(const ITextReader&) = default;
    ITextReader& operator=(const ITextReader&) = default;
    ~ITextReader() = default;
};

// The parsed photometric record. Fresh values are the member initialisers. Candela values are
// stored as read: multiplier, ballast factor and lamps are kept beside them, not applied.
struct IESFileData {
    std::int32_t version = -1;       // 1986, 1991 or 1995
    // Copies of the keyword lines. Deliberate: keywordCount is never written by the reader and
    // stays 0; walk the array up to its terminating null pointer instead.
    char** keywords = nullptr;
    std::int32_t keywordCount = 0;
    bool hasTilt = false;
    std::int32_t reservedA = -1;
    std::int32_t reservedB = 0;
    float* reservedC = nullptr;
    float* reservedD = nullptr;
    std::int32_t lampCount = 1;
    float lumensPerLamp = 1.0f;
    float candelaMultiplier = 1.0f;
    std::int32_t verticalAngleCount = 1;
    std::int32_t horizontalAngleCount = 1;
    std::int32_t photometricType = 1;  // 1 type C, 2 type B, 3 type A
    std::int32_t unitsType = 1;        // 1 feet, 2 metres
    float width = 0.0f;
    float length = 0.0f;
    float height = 0.0f;
    float ballastFactor = 1.0f;
    float ballastLampFactor = 1.0f;
    float inputWatts = 50.0f;
    float* verticalAngles = nullptr;    // degrees, verticalAngleCount values
    float* horizontalAngles = nullptr;  // degrees, horizontalAngleCount values
    float* candelas = nullptr;          // value (h, v) at h * verticalAngleCount + v
    std::int32_t symmetryMode = 0;      // 0 none, 1 single, 2 double, 3 axial
    float maxCandela = 0.0f;

    IESFileData() = default;
    IESFileData(const IESFileData&) = delete;
    IESFileData& operator=(const IESFileData&) = delete;
    ~IESFileData() { release(); }

    // Frees every owned array (keyword strings up to the terminating null) and nulls the pointers.
    void release() {
        if (keywords != nullptr) {
            for (char** k = keywords; *k != nullptr; ++k) {
                delete[] *k;
            }
            delete[] keywords;
            keywords = nullptr;
        }
        delete[] reservedC;
        reservedC = nullptr;
        delete[] reservedD;
        reservedD = nullptr;
        delete[] verticalAngles;
        verticalAngles = nullptr;
        delete[] horizontalAngles;
        horizontalAngles = nullptr;
        delete[] candelas;
        candelas = nullptr;
    }
};

class IIESPart;
struct IESPartList;  // the library's list of section parsers (kept out of the exported surface)

class VYR_API IESFile {
public:
    // Thrown by a GuardedReader when a read keeps asking for lines past the end of its data.
    class VYR_API EndlessRead : public std::runtime_error {
    public:
        using std::runtime_error::runtime_error;
    };

    // An ITextReader over a file or a buffer that reads exactly as the library's plain readers
    // do (same lines, same end, same failed state after an over-long file line) but throws
    // EndlessRead once the data has been read past its end more than `pastEndBudget` times.
    // A buffer is read where it lies, not copied: keep it alive and unchanged while reading.
    class VYR_API GuardedReader final : public ITextReader {
    public:
        enum class Source { File, Buffer };
        static constexpr int kDefaultPastEndBudget = 64;

        explicit GuardedReader(Source source, int pastEndBudget = kDefaultPastEndBudget);
        ~GuardedReader();
        GuardedReader(const GuardedReader&) = delete;
        GuardedReader& operator=(const GuardedReader&) = delete;

        bool open(const void* source) override;
        void close() override;
        bool isEof() override;
        const char* readLine() override;
        signed char readChar() override;

        // How many lines were handed out after the data had run out.
        int pastEndReads() const { return pastEndReads_; }
        // Why the read was stopped ("" while it was not): useful after read(path), which
        // swallows the EndlessRead.
        const std::string& failure() const { return failure_; }

    private:
        bool exhausted();
        Source source_;
        int budget_;
        int pastEndReads_ = 0;
        ITextReader* inner_ = nullptr;
        std::string failure_;
    };

    // What the canonicaliser changed, one bit each.
    enum CanonicalChange : std::uint32_t {
        kLineEndings = 1u << 0,        // CR LF or lone CR endings became LF
        kTiltLine = 1u << 1,           // the TILT= line was rewritten (case, blanks, CR)
        kLuminaireJoined = 1u << 2,    // the ten luminaire numbers were brought onto one line
        kCommas = 1u << 3,             // commas between numbers became blanks
        kLongLines = 1u << 4,          // lines over 255 characters were wrapped
        kRegrouped = 1u << 5,          // other numbers were moved between lines
        kTrailingDropped = 1u << 6,    // text after the last candela value was dropped
        kNumbersRewritten = 1u << 7,   // tokens such as "1.2.3" were split into their numbers
        kLabelsDropped = 1u << 8,      // label lines before TILT that read as ten numbers dropped
    };

    struct Canonical {
        std::string text;          // the canonical file text, LF endings, ends with a line-feed
        std::uint32_t changes = 0; // CanonicalChange bits
        int droppedLines = 0;      // lines after the last candela value that were dropped
        // One phrase per change, e.g. "CR LF line endings, luminaire numbers joined".
        std::string describe() const;
    };

    // Thrown by canonicalize for a text that cannot be brought into shape (no TILT line,
    // missing numbers, absurd counts). The message names the problem and, where it helps, the
    // line.
    class VYR_API CanonicalError : public std::runtime_error {
    public:
        using std::runtime_error::runtime_error;
    };

    // Largest angle count the canonicaliser lets through, and largest grid.
    static constexpr int kMaxAngleCount = 100000;
    static constexpr std::int64_t kMaxCandelaCount = 4000000;

    // Rewrites a real-world LM-63 text into the layout the line reader reads to completion:
    // header, keyword and label lines as they were (endings normalised), the TILT line (and its
    // tilt numbers), the ten luminaire numbers on one line, the three ballast numbers, each angle
    // list and candela row on lines of at most 255 characters, nothing after the last candela row.
    static Canonical canonicalize(const std::string& text);

    // The library's plain line readers, the ones the contracted parser reads with (no guard
    // against reads that never end: see GuardedReader): over a file (open takes a
    // `const wchar_t*` path) or over a copy of a zero-terminated text (a `const char*`).
    // Release each with releaseReader.
    static ITextReader* createFileReader();
    static ITextReader* createBufferReader();
    static void releaseReader(ITextReader* reader);

    IESFile();
    explicit IESFile(ITextReader* reader);  // the caller keeps ownership of the reader
    IESFile(const IESFile& other);
    IESFile& operator=(const IESFile& other);
    ~IESFile();

    // Reads a file (swallows every failure) or a memory text (lets exceptions through). Neither
    // reports success; a new read replaces (and frees) the previous record.
    void read(const std::wstring& path);
    void read(const char* buffer);
    const IESFileData* data() const { return data_; }

    // --- Sampling: normalised intensities (candela / maxCandela) over the grid ---------------
    static constexpr double kAngleEpsilon = 1e-6;

    static double catrom(const double* p, double t);
    bool getVerticalAngleIndex(double theta, std::int32_t& index, double& fraction) const;
    bool getHorizontalAngleIndex(double phi, std::int32_t& index, double& fraction,
                                 std::int32_t flag) const;
    void getSamples(std::int32_t verticalStart, std::int32_t verticalCount,
                    std::int32_t horizontalStart, std::int32_t horizontalCount,
                    std::int32_t mode, double* out) const;
    double computeIntensity(std::int32_t verticalIndex, double verticalFraction,
                            std::int32_t horizontalIndex, double horizontalFraction,
                            std::int32_t mode) const;
    float sampleDataNoSymmetry(double theta, double phi) const;
    float sampleDataSingleSymmetryTypeC(double theta, double phi) const;
    float sampleDataSingleSymmetryTypeAB(double theta, double phi) const;
    float sampleDataDoubleSymmetry(double theta, double phi) const;
    float sampleDataAxisSymmetry(double theta) const;
    // The sampler the record's symmetry mode and photometric type select (0 without a record).
    float sampleIntensity(double theta, double phi) const;
    double getMaximumIntensity() const;
    void getLamps(std::int32_t& lampCount, double& lumensPerLamp, double& multiplier) const;

    // --- Textures and light CDFs ---------------------------------------------------------------
    // One side of the web texture for an angle list: 1 − 2·trunc((−span / (last − first))·(n − 1)),
    // 2 for a single angle. Not clamped: descending, equal-ended or very fine lists give sides of
    // 1 or less, infinite or huge ones, and the generators use them as they are (an int32 holds
    // them saturated; a side below 1 makes no texels). Hosts check it before generating.
    static double textureSide(const float* angles, std::int32_t count, double span);
    // The web texture's width (vertical angles) and height (horizontal angles) the generators
    // will use for the current record, 2 x 2 without one: what initShader binds, learned
    // before generating.
    void webTextureSize(std::int32_t& wv, std::int32_t& hh) const { textureSize(wv, hh); }

    void init(const vyr::TextureHandle& web, const vyr::TextureHandle& thetaCdf,
              const vyr::TextureHandle& phiCdf);
    void initShader(const vyr::ShaderHandle& shader, const char* webName,
                    const char* verticalRangeName, const char* horizontalRangeName,
                    const char* typeName, const char* symmetryName);
    void generateTextureTypeC(std::int32_t& wv, std::int32_t& hh);
    void generateTextureTypeAB(std::int32_t& wv, std::int32_t& hh);
    void generateIESLightCDF(std::int32_t wv, std::int32_t hh);

    // The arrays the generators filled (empty before).
    const std::vector<float>& webTexels() const { return web_; }
    const std::vector<float>& marginal() const { return marginal_; }
    const std::vector<float>& thetaCdf() const { return thetaCdf_; }
    const std::vector<float>& phiCdf() const { return phiCdf_; }
    float cdfTotal() const { return cdfTotal_; }
    const vyr::TextureHandle& webTexture() const { return webTexture_; }
    const vyr::TextureHandle& thetaCdfTexture() const { return thetaCdfTexture_; }
    const vyr::TextureHandle& phiCdfTexture() const { return phiCdfTexture_; }

    static void _findPeaks(const float* values, std::int32_t count, float& smallest,
                           float& largest);

private:
    void _initIESParts();
    static void _deleteList(IESPartList* list);
    void readIES(ITextReader* reader);
    void applyParts();
    void copyFrom(const IESFile& other);
    bool hasGrid() const;
    float intensityAt(std::int32_t verticalIndex, double verticalFraction, double phi,
                      std::int32_t mode) const;
    void textureSize(std::int32_t& wv, std::int32_t& hh) const;
    void fillWeb(bool typeC, std::int32_t& wv, std::int32_t& hh);
    static std::string trim(const std::string& text, const std::string& set);

    ITextReader* reader_ = nullptr;
    void (*readerDestroy_)(ITextReader*) = nullptr;  // set when the file owns its reader
    IESFileData* data_ = nullptr;
    IESPartList* queue_ = nullptr;     // parts still to run, in chain order
    IESPartList* finished_ = nullptr;  // parts that have finished, in finishing order

    vyr::TextureHandle webTexture_;
    vyr::TextureHandle thetaCdfTexture_;
    vyr::TextureHandle phiCdfTexture_;
    std::vector<float> web_;
    std::vector<float> marginal_;
    std::vector<float> thetaCdf_;
    std::vector<float> phiCdf_;
    float cdfTotal_ = 0.0f;
};
