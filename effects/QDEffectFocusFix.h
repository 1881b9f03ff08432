#pragma once
// Focus Fix: Sharpen under its own catalogue row and type key, on the "Retouch" tab. Its pixels
// are Sharpen's for the same properties, and it shares Sharpen's panel.

#include "effects/QDEffectSharpen.h"

class QDEffectFocusFix : public QDEffectSharpen
{
public:
    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
};
