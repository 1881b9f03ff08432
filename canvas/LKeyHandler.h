#pragma once
// Keys as the canvas logic sees them: the modifier state of the last input event, and key codes
// of the program's own keyboard table (the window layer maps the toolkit's keys onto them).

#include <cstdint>

enum LKeyModifier : uint32_t
{
    LKeyCommand = 0x10000, // CTRL on this platform
    LKeyShift = 0x20000,
    LKeyOption = 0x80000, // Alt
    LKeyControl = 0x100000,
};

enum LVirtualKey : int
{
    LVK_A = 0x00,
    LVK_TAB = 0x30,
    LVK_SPACE = 0x31,
    LVK_BACKSPACE = 0x33,
    LVK_RETURN = 0x24,
    LVK_ESCAPE = 0x35,
    LVK_FORWARD_DELETE = 0x75,
    LVK_LEFT = 0x7B,
    LVK_RIGHT = 0x7C,
    LVK_DOWN = 0x7D,
    LVK_UP = 0x7E,
    LVK_UNKNOWN = -1,
};

class LKeyHandler
{
public:
    // True when every modifier of mask is held.
    static bool IsKeyPressed(uint32_t mask) { return mask && (uiModifiers & mask) == mask; }
    // Set by the window layer from each input event before it reaches the logic.
    static void SetModifiers(uint32_t modifiers) { uiModifiers = modifiers; }
    static uint32_t GetModifiers() { return uiModifiers; }

private:
    static inline uint32_t uiModifiers = 0;
};
