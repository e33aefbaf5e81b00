// COsGuid: random (version 4) GUIDs printed from their fields.
#include "identity/COsGuid.h"

#include <cstdint>
#include <cstring>

#include "platform/random.h"
#include "strings/StringHelpers.h"

namespace {

struct Guid {
    uint32_t data1;
    uint16_t data2;
    uint16_t data3;
    uint8_t data4[8];
};

bool CreateRandomGuid(Guid& guid)
{
    uint8_t bytes[16];
    if (!platform::FillRandom(bytes, sizeof bytes))
        return false;
    std::memcpy(&guid.data1, bytes, 4);
    std::memcpy(&guid.data2, bytes + 4, 2);
    std::memcpy(&guid.data3, bytes + 6, 2);
    std::memcpy(guid.data4, bytes + 8, 8);
    guid.data3 = static_cast<uint16_t>((guid.data3 & 0x0FFF) | 0x4000);       // version 4: random
    guid.data4[0] = static_cast<uint8_t>((guid.data4[0] & 0x3F) | 0x80);      // the RFC 4122 variant
    return true;
}

}  // namespace

std::string COsGuid::NewGuid()
{
    Guid guid;
    if (!CreateRandomGuid(guid))
        return std::string();
    char text[80];
    veltrane::snprintf(text, sizeof text, "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X", guid.data1,
                       guid.data2, guid.data3, guid.data4[0], guid.data4[1], guid.data4[2], guid.data4[3],
                       guid.data4[4], guid.data4[5], guid.data4[6], guid.data4[7]);
    return text;
}
