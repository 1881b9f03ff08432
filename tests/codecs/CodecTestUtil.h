#pragma once
// Shared helpers of the codec tests: a private temporary folder, running the reference tools, and
// comparing a decoded buffer with the pixels a reference decoder produced.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "foundation/LProcessInterface.h"
#include "image/LImageBuffer.h"

namespace CodecTest
{
// A folder that lives as long as the object.
class TempDir
{
public:
    TempDir();
    ~TempDir();
    std::string Path(const std::string& name) const { return szPath + "/" + name; }
    std::string szPath;
};

// Runs a shell command; true when it exits 0.
bool Shell(const std::string& command);
// Runs Pillow's interpreter on a script; the script sees the folder as DIR.
bool RunPython(const std::string& script, const std::string& dir);

std::vector<uint8_t> ReadFile(const std::string& path);
bool WriteFile(const std::string& path, const std::vector<uint8_t>& data);

// Pixels as Pillow decodes them, in R, G, B, A order, with the size.
struct Reference
{
    int iWidth = 0, iHeight = 0;
    std::vector<uint8_t> rgba;
    bool IsValid() const { return iWidth > 0 && rgba.size() == size_t(iWidth) * iHeight * 4; }
};
Reference DecodeWithPillow(const std::string& path, const std::string& frameOrMode = "");
Reference DecodeWithMagick(const std::string& path);

// Largest channel difference and count of pixels differing beyond the tolerance.
struct Diff
{
    int iMaxDelta = 0;
    long nOver = 0;
    bool bSizeMismatch = false;
};
// Compares colour (and alpha when withAlpha); colour of fully transparent pixels is ignored.
Diff Compare(const LImageBuffer& image, const Reference& ref, int tolerance, bool withAlpha = true);

// A process interface that records what it is told and can ask to stop after a number of polls.
class RecordingProcess : public LProcessInterfaceVoid
{
public:
    bool IsToStop() override { return iStopAfter >= 0 && ++nPolls > iStopAfter; }
    void SetError(const char* text) override { arErrors.push_back(text); }
    void SetStatus(const char* text, int) override { arStatus.push_back(text); }
    void SetProgress(double f) override { arProgress.push_back(f); }

    int iStopAfter = -1;
    long nPolls = 0;
    std::vector<std::string> arErrors;
    std::vector<std::string> arStatus;
    std::vector<double> arProgress;
};

// A B8G8R8A8 test picture whose every pixel differs from its neighbours.
void FillPattern(LImageBuffer& image, int width, int height, bool withAlpha);
// Writes an image's pixels as raw RGBA for the reference tools, with its size in the name's sidecar.
bool WriteRawRGBA(const LImageBuffer& image, const std::string& path);
} // namespace CodecTest
