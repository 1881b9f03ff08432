#pragma once
// A process interface for the command line: never stops, keeps the last error message so that the
// command can print it on standard error.

#include <string>

#include "foundation/LProcessInterface.h"

class QDCliProcess : public LProcessInterfaceVoid
{
public:
    void SetError(const char* text) override { szError = text ? text : ""; }
    // Prints the message (or a fallback when nothing was said) and gives the failure status.
    int Fail(const char* fallback) const;

    std::string szError;
};
