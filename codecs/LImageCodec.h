#pragma once
// The fixed table of image formats and the choice of a codec from a file name. A format is chosen
// by extension alone; a decoder that meets the wrong content simply fails.

#include <string>
#include <vector>

using LImageCodecID = int;

enum LImageCodecIDs : LImageCodecID
{
    LImageCodecUnknown = -1,
    LImageCodecBMP = 0,
    LImageCodecDNG = 1,
    LImageCodecGIF = 2,
    LImageCodecJPEG = 3,
    LImageCodecJPEG2000 = 4,
    LImageCodecPCX = 5,
    LImageCodecPNG = 6,
    LImageCodecPNM = 7,
    LImageCodecPSD = 8,
    LImageCodecRAS = 9,
    LImageCodecRAW = 10,
    LImageCodecRawCanon = 11,
    LImageCodecRawEpson = 12,
    LImageCodecRawFuji = 13,
    LImageCodecRawKodak = 14,
    LImageCodecRawLeaf = 15,
    LImageCodecRawMinolta = 16,
    LImageCodecRawNikon = 17,
    LImageCodecRawOlympus = 18,
    LImageCodecRawPanasonic = 19,
    LImageCodecRawPentax = 20,
    LImageCodecRawSamsung = 21,
    LImageCodecRawSony = 22,
    LImageCodecTGA = 23,
    LImageCodecTIFF = 24,
    LImageCodecWBMP = 25,
    LImageCodecWEBP = 26,
    // Formats added after the classic table; they keep to its end so the old ids never move.
    LImageCodecAVIF = 27,
    LImageCodecJXL = 28,
    LImageCodecHEIC = 29,
};
constexpr int LImageCodecCount = 30;
constexpr int LImageCodecFileExtCount = 42;

// 2 reading, 3 writing; any other value enables nothing.
enum LImageIOType : int
{
    LImageIORead = 2,
    LImageIOWrite = 3,
};

struct LImageCodecInfo
{
    const char* szCode;
    const char* szName;
    const char* szDescription;
    bool bRead;
    bool bWrite;
    bool bSettingsDialog;
    bool bMultiImage; // nothing reads it
    int iReserved;    // nothing reads it
};
extern const LImageCodecInfo arImageCodecInfo[LImageCodecCount];

struct LImageCodecFileExtInfo
{
    const char* szExtension; // with the dot, lower case
    LImageCodecID id;
};
// The order matters: a codec's first pair is its preferred extension.
extern const LImageCodecFileExtInfo arImageCodecFileExtInfo[LImageCodecFileExtCount];

class LImageCodec
{
public:
    LImageCodec() = default;
    explicit LImageCodec(LImageCodecID codec) : id(codec) {}

    // By the extension of path, case-insensitively; false and -1 when none matches.
    bool InitFromFilePath(const char* path);
    LImageCodecID GetID() const { return id; }
    void SetID(LImageCodecID codec) { id = codec; }
    bool IsValid() const { return id >= 0 && id < LImageCodecCount; }
    // Empty strings for an unknown codec.
    const char* GetCode() const;
    const char* GetName() const;
    const char* GetDescription() const;
    const char* GetPreferredExtension() const;
    bool HasSettingsDialog() const;
    bool IsCameraRaw() const
    {
        return id == LImageCodecDNG || (id >= LImageCodecRAW && id <= LImageCodecRawSony);
    }

    bool operator==(const LImageCodec& o) const { return id == o.id; }

    LImageCodecID id = LImageCodecUnknown;
};

// Which codecs may be used for what. Virtual so that the application can narrow it.
class LImageCodecVetoer
{
public:
    virtual ~LImageCodecVetoer() = default;
    virtual bool IsEnabled(LImageCodec codec, LImageIOType type) const;
};

// The application saves only to the five common formats; reading is not narrowed.
class QDImageCodecVetoer : public LImageCodecVetoer
{
public:
    bool IsEnabled(LImageCodec codec, LImageIOType type) const override;
};

struct LImageCodecFilterItem
{
    LImageCodecID codec = LImageCodecUnknown;
    std::string szLabel;
    std::string szExtensions; // "*.jpg;*.jpeg"
};

// The list of formats that file dialogs show.
class LImageCodecFilterList
{
public:
    // filterString receives pairs of NUL-terminated strings (label, extensions). vetoer may be null.
    bool Init(std::string& filterString, LImageIOType type, const LImageCodecVetoer* vetoer);
    // Both count from 1: GetCodec gives -1 when not found, GetIndex 0.
    LImageCodecID GetCodec(int index) const;
    int GetIndex(LImageCodec codec) const;
    int GetCount() const { return int(arItems.size()); }
    const LImageCodecFilterItem& GetItem(int index) const { return arItems[size_t(index - 1)]; }

    // "*.ext" joined with ";"; a codec outside the table means every enabled codec. False when the
    // given codec is vetoed.
    static bool GetEnabledExtensions(std::string& out, LImageCodec codec, LImageIOType type,
                                     const LImageCodecVetoer* vetoer);

    std::vector<LImageCodecFilterItem> arItems;
};
