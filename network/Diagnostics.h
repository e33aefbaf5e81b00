// Internal: a diagnostic of the network classes, formatted into 500 bytes and handed to the log hub, which
// drops it unless a viewer is attached.
#pragma once

#include "logging/COsLog.h"
#include "strings/StringHelpers.h"

namespace network_diagnostics {

constexpr int kMessageSize = 500;

// A longer text is cut at 499 bytes.
template <typename... Arguments>
void Write(const char* format, Arguments... arguments)
{
    char text[kMessageSize];
    if constexpr (sizeof...(Arguments) == 0)
        veltrane::snprintf(text, sizeof(text), "%s", format);
    else
        veltrane::snprintf(text, sizeof(text), format, arguments...);
    if (COsLog* hub = COsLog::GetInstance())  // null when memory ran out: the diagnostic is dropped
        hub->WriteLogToPort(text);
}

}  // namespace network_diagnostics
