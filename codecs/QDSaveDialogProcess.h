#pragma once
// The work behind the save dialog: what a format makes of the picture, shown before anything is
// written. The picture is encoded into memory and decoded back; the encoded bytes are exactly
// the file that saving with the same choices writes, so the projected size is the file's size.

#include <cstdint>
#include <vector>

#include "codecs/LImageCodec.h"
#include "codecs/LImageEncodeSettings.h"
#include "foundation/LFile.h"
#include "foundation/LProcessInterface.h"
#include "image/LImageBuffer.h"

// Everything the dialog lets the user choose that changes the file.
struct QDSaveFormat
{
    LImageCodec codec{LImageCodecJPEG};
    // JPEG's quality comes from the dialog's slider; formats beyond the five keep theirs here.
    LImageEncodeSettings settings;
    bool bFastGif = true;
    bool bDither = false;

    // Equal when the two would write the same file and show the same preview.
    bool IsSameFile(const QDSaveFormat& other) const;
};

// True when no pixel is the least transparent (formats without alpha always are).
bool LImageIsOpaque(LProcessInterface& process, const LImageBuffer& image);

// JPEG and GIF keep no transparency: their picture is flattened over white first.
bool QDSaveFormatNeedsFlattening(LImageCodec codec);

// The picture a format encodes: the image itself, or its flattened copy, made on first need and
// kept in flattened for the next call.
LProcessResult QDSaveGetSourceImage(LProcessInterface& process, LImageCodec codec, const LImageBuffer& image,
                                    LImageBuffer& flattened, const LImageBuffer*& source);

// The bytes of the file that saving writes for this format.
LProcessResult QDSaveEncodeFile(LProcessInterface& process, const LImageBuffer& source,
                                const QDSaveFormat& format, std::vector<uint8_t>& file);

struct QDSaveDialogProcessPreview
{
    const LImageBuffer* lpImage = nullptr; // the project's picture, as rendered
    LImageBuffer* lpFlattened = nullptr;   // kept between runs; may be null
    QDSaveFormat format;

    // Results.
    std::vector<uint8_t> vFile; // what Save writes with these choices; its size is the projection
    LImageBuffer preview;       // the decoded file; invalid for formats shown undecoded
    bool bDecoded = false;      // false: the dialog shows the picture itself (PNG, TIFF)
    char szCaption[64] = {};
};

// 0 done, 1 stopped, 2 failed. Sets no message: the dialog words a failure.
LProcessResult Process(LProcessInterface& process, QDSaveDialogProcessPreview& data);

struct QDSaveDialogProcessSave
{
    const LImageBuffer* lpImage = nullptr;
    LImageBuffer* lpFlattened = nullptr;
    QDSaveFormat format;
    // The bytes of a preview made with this very format, written as they are; null encodes anew.
    const std::vector<uint8_t>* lpFile = nullptr;
    char szFilePath[LFILE_MAX_PATH] = {};
};

// Replaces the file whole or leaves it as it was (a temporary file beside it is renamed into
// place). 0 done, 1 stopped, 2 failed; sets no message.
LProcessResult Process(LProcessInterface& process, QDSaveDialogProcessSave& data);
