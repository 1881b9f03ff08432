#pragma once
// The toolbar's pictures of the effects, drawn by the effects themselves: each runs once with its
// default properties on a small sample photo, and its result is the icon. One that is at rest by
// default (a tone slider in the middle) runs again moved. An effect that still leaves the sample
// as it was (a tool that works by brush or by hand) gets none, and the window takes the theme's
// icon instead.

#include <map>
#include <memory>

#include "document/QDEffectFactory.h"
#include "image/LImageBuffer.h"

class QDEffectIcons
{
public:
    static constexpr int kSize = 64;

    // The sample, a square picture of kSize; false when it can't be read.
    bool LoadSample(const char* path);
    // Renders the icon of every factory that has none yet.
    void Render(const LList<QDEffectFactory>& factories);
    bool IsRendered() const { return bRendered; }
    // Null for an effect that has no picture of its own.
    const LImageBuffer* Get(int commandId) const;

    // The effect's output on sample, at its defaults or else moved; false when it fails or
    // changes nothing.
    static bool RenderIcon(QDEffectFactory& factory, const LImageBuffer& sample, LImageBuffer& icon);

private:
    LImageBuffer sample;
    std::map<int, std::unique_ptr<LImageBuffer>> mapIcons;
    bool bRendered = false;
};
