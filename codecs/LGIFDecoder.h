#pragma once
// This system's own GIF reader, for showing what a written file will look like: Open lists the
// frames without decoding them, GetFrame decodes one onto the logical screen. It trusts nothing
// in the file: every size is checked against what the file can hold before memory is taken, and
// any damage is result 2 with no message of its own (the caller words it). Defined for
// LInputStreamBuffer and LInputStreamFile.

#include <memory>
#include <vector>

#include "codecs/LGIFBlocks.h"
#include "foundation/LProcessInterface.h"
#include "foundation/LStream.h"
#include "image/LImageBuffer.h"

template <class Base>
class LGIFDecoder
{
public:
    explicit LGIFDecoder(LInputStream<Base>& stream) : lpStream(&stream) {}

    // Reads from the stream's position to the trailer. 0 done, 1 stopped, 2 not a whole GIF.
    LProcessResult Open(LProcessInterface& process);
    int GetFrameCount() const { return int(arFrames.size()); }
    // The graphic control in force for a frame, null when none came before it.
    const LGIFExtensionGraphicControl* GetGraphicControl(int frameIndex) const;

    // The screen as it stands after frameIndex, in B8G8R8A8, with bits set to the bits of that
    // frame's colour table. Frames kept by their predecessors ("do not dispose") are drawn first.
    LProcessResult GetFrame(LProcessInterface& process, LImageBuffer& image, int& bits, int frameIndex);

    LInputStream<Base>* lpStream;
    LGIFHeader header;
    LGIFLogicalScreenDescriptor screen;
    LGIFColorTable globalTable;
    std::vector<LGIFImageFrame> arFrames;
    std::vector<LGIFExtensionGraphicControl> arGraphicControls;

private:
    bool ReadTable(int bits, LGIFColorTable& table);
    // Walks a run of sub-blocks to its terminator; total gets the bytes they hold.
    bool SkipSubblocks(uint64_t& total);
    int GetDisposal(int frameIndex) const;
    // The frame's indices, width times height of them, rows in file order.
    LProcessResult GetImageData(const LGIFImageFrame& frame, std::unique_ptr<uint8_t[]>& indices);
};
