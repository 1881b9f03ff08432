#pragma once
// The scripted edits of the hidden recovery-script command, shared with the test that kills it:
// edit k (from 1) adds a blur, adds a sharpen, or changes the first effect's radius, in turn.

struct QDCliScriptEdit
{
    bool bAdd;          // else a change of the first effect (the element after the original)
    const char* szType; // of the element added
    const char* szProperty;
    double dValue;
};

inline QDCliScriptEdit QDCliScriptEditAt(int k)
{
    switch (k % 3)
    {
    case 1:
        return {true, "blur", "radius", double(k)};
    case 2:
        return {true, "sharpen", "amount", double(k % 101)};
    default:
        return {false, "blur", "radius", k + 0.5};
    }
}
