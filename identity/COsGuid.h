// COsGuid: new GUIDs in their 36-character text form.
#pragma once

#include <string>

#include "../core/Types.h"

class VELTRANE_API COsGuid
{
public:
    // A fresh random GUID as "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX" in capitals, or "" if the host
    // could not give random bytes.
    static std::string NewGuid();

private:
    COsGuid() {}
    ~COsGuid() {}
};
