// Internal: the texts of addresses that the network classes write, each in the one form they share.
#pragma once

#include <cstdint>
#include <string>

namespace network_text {

// "a.b.c.d" of an IPv4 address in host byte order.
inline std::string DottedText(uint32_t address)
{
    return std::to_string(address >> 24) + '.' + std::to_string((address >> 16) & 0xFF) + '.' +
           std::to_string((address >> 8) & 0xFF) + '.' + std::to_string(address & 0xFF);
}

// Each byte of a hardware address as two capital hexadecimal digits, joined by ':' ("00:1A:2B:3C:4D:5E");
// no byte gives the empty text.
inline std::string HardwareText(const uint8_t* bytes, uint32_t length)
{
    static const char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (uint32_t i = 0; i < length; ++i) {
        if (i > 0)
            text += ':';
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 0xF];
    }
    return text;
}

}  // namespace network_text
