// The records of COsAdapter from the host's adapter list.
#include "network/AdapterRecords.h"

#include <climits>
#include <cstring>

#include "network/NetworkText.h"
#include "strings/COsString.h"

namespace adapter_records {

namespace {

// Copies at most `limit` bytes of text into a zero-filled field, whose last byte always stays the terminator.
template <size_t FieldSize>
void CopyText(char (&field)[FieldSize], const std::string& text, size_t limit)
{
    const size_t count = text.size() < limit ? text.size() : limit;
    std::memcpy(field, text.data(), count < FieldSize - 1 ? count : FieldSize - 1);
}

}  // namespace

bool IsUsable(const std::string& address)
{
    return COsString::Compare(address, "0.0.0.0", true) != 0 && COsString::Compare(address, "127.0.0.1", true) != 0;
}

int Build(const std::vector<platform::AdapterEntry>& adapters, _S_Adapter_Info* pInfo, unsigned int* pSize)
{
    if (pSize == nullptr)
        return OS_ERR_NULL_ARGUMENT;
    size_t count = 0;
    for (const platform::AdapterEntry& adapter : adapters) {
        for (const platform::AdapterAddress& address : adapter.addresses)
            count += IsUsable(address.address) ? 1 : 0;
    }
    if (count > UINT_MAX / sizeof(_S_Adapter_Info))
        return OS_ERR_ADAPTER_LIST;
    const unsigned int needed = static_cast<unsigned int>(count * sizeof(_S_Adapter_Info));
    if (needed > *pSize) {
        *pSize = needed;
        return OS_ERR_BUFFER_TOO_SMALL;
    }
    if (count == 0)
        return 0;
    if (pInfo == nullptr)
        return OS_ERR_NULL_ARGUMENT;

    size_t index = 0;
    for (const platform::AdapterEntry& adapter : adapters) {
        const std::string hardware = network_text::HardwareText(adapter.hardware, adapter.hardwareLength);
        for (const platform::AdapterAddress& address : adapter.addresses) {
            if (!IsUsable(address.address))
                continue;
            _S_Adapter_Info record;
            std::memset(&record, 0, sizeof(record));
            CopyText(record.szAdapterName, adapter.name, kNameLimit);
            CopyText(record.szDescription, adapter.description, kDescriptionLimit);
            CopyText(record.szMac, hardware, kHardwareLimit);
            CopyText(record.szIPAddress, address.address, kAddressLimit);
            CopyText(record.szIPMask, address.mask, kAddressLimit);
            std::memcpy(&pInfo[index], &record, sizeof(record));
            if (index > 0)
                pInfo[index - 1].pNext = &pInfo[index];
            ++index;
        }
    }
    return 0;
}

}  // namespace adapter_records
