#pragma once
// GIF writing from true-colour images: each frame gets a palette of its own (or the global one)
// and its pixels are mapped to it, dithered or not, before the codes go out. Several frames with
// delays and a loop count make an animation. Defined for LOutputStreamFile and
// LOutputStreamByteArray.

#include "codecs/LGIFBlocks.h"
#include "foundation/LProcessInterface.h"
#include "foundation/LStream.h"
#include "image/LImageBuffer.h"
#include "image/LPalette.h"

template <class Base>
class LGIFEncoder
{
public:
    // A width or height of 0 lets the frames decide the screen: it grows to hold each one, and
    // Finalise writes the final size over the first. Sizes keep their low 16 bits. A loop count
    // of 0 or more makes an animation that repeats that often (0 for ever); -1 writes none. The
    // stream must outlive the encoder, whose destructor finishes the file.
    LGIFEncoder(LOutputStream<Base>& stream, int width, int height, int loopCount = -1);
    ~LGIFEncoder();
    LGIFEncoder(const LGIFEncoder&) = delete;
    LGIFEncoder& operator=(const LGIFEncoder&) = delete;

    // A palette for every frame that asks for it; written once, before the first frame.
    void SetGlobalPalette(const LPalette<LPFB8G8R8>& palette) { globalPalette = palette; }

    // Adds one frame at left, top, shown for delayMs, with its own palette of at most maxColours
    // (2 to 256) or with the global one. 0 done, 1 stopped while writing, 2 failed; after a
    // failure the stream may hold part of a file.
    LProcessResult AddFrame(LProcessInterface& process, const LImageBuffer& image, int left, int top,
                            int delayMs, bool useGlobalPalette, int maxColours);
    // Writes a block between frames (a comment, say); false when the stream refused it.
    bool AddExtension(const LGIFExtension& extension);
    // Ends the file, once; also run by the destructor. False when a write failed.
    bool Finalise();

    LOutputStream<Base>* lpStream;
    int iFrameCount = 0;
    int iVersion = 2;
    LGIFLogicalScreenDescriptor screen;
    int iRunningWidth = 0, iRunningHeight = 0;
    int iLoopCount;
    LPalette<LPFB8G8R8> globalPalette;
    bool bDither = true;
    int iPaletteMethod = 1; // 1 median cut, anything else the colour octree
    LGIFDisposalMethod iDisposal = LGIFDisposalNone;
    bool bOpen;

private:
    bool WriteHead();

    int64_t iStart;
    bool bHeadWritten = false;
};
