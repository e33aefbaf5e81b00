// COsAdapter: the host's adapter list as records of usable addresses, asked afresh at every call.
#include "network/COsAdapter.h"

#include <cstring>
#include <memory>

#include "network/AdapterRecords.h"
#include "network/Diagnostics.h"
#include "strings/COsString.h"

namespace {

// GetAdapterFromMac and GetAllLocalIP look at this many records, taken on the heap.
constexpr unsigned int kLookupRecords = 32;

// Room for kLookupRecords records, cleared, filled by GetAllAdapters; its result in `status`.
std::unique_ptr<_S_Adapter_Info[]> LookupRecords(int* status)
{
    std::unique_ptr<_S_Adapter_Info[]> records(new _S_Adapter_Info[kLookupRecords]);
    std::memset(records.get(), 0, sizeof(_S_Adapter_Info) * kLookupRecords);
    unsigned int size = sizeof(_S_Adapter_Info) * kLookupRecords;
    *status = COsAdapter::GetAllAdapters(records.get(), &size);
    return records;
}

void CopyTerminated(char* target, size_t size, const char* text)
{
    std::memcpy(target, text, strnlen(text, size - 1) + 1);
}

}  // namespace

int COsAdapter::GetAllAdapters(_S_Adapter_Info* pInfo, unsigned int* pSize)
{
    std::vector<platform::AdapterEntry> adapters;
    const uint32_t error = platform::ListAdapters(&adapters);
    if (error != 0) {
        network_diagnostics::Write("Get Adapter List Error = %d\r\n", static_cast<int>(error));
        return OS_ERR_ADAPTER_LIST;
    }
    return adapter_records::Build(adapters, pInfo, pSize);
}

int COsAdapter::GetAdapterFromMac(const std::string& strMac, _S_Adapter_Info& info)
{
    int status = 0;
    std::unique_ptr<_S_Adapter_Info[]> records = LookupRecords(&status);
    if (status != 0)
        return status;
    const _S_Adapter_Info* found = &records[0];
    if (!strMac.empty()) {
        while (found != nullptr && COsString::Compare(found->szMac, strMac.c_str(), true) != 0)
            found = found->pNext;
        if (found == nullptr)
            return OS_ERR_ADAPTER_NOT_FOUND;
    }
    CopyTerminated(info.szAdapterName, sizeof(info.szAdapterName), found->szAdapterName);
    CopyTerminated(info.szDescription, sizeof(info.szDescription), found->szDescription);
    CopyTerminated(info.szMac, sizeof(info.szMac), found->szMac);
    CopyTerminated(info.szIPAddress, sizeof(info.szIPAddress), found->szIPAddress);
    CopyTerminated(info.szIPMask, sizeof(info.szIPMask), found->szIPMask);
    info.pNext = nullptr;
    return 0;
}

std::vector<std::string> COsAdapter::GetAllLocalIP()
{
    std::vector<std::string> addresses;
    int status = 0;
    std::unique_ptr<_S_Adapter_Info[]> records = LookupRecords(&status);
    if (status != 0)
        return addresses;
    // The walk begins with the first record whether it was filled or not: an empty list gives one empty text.
    for (const _S_Adapter_Info* record = &records[0]; record != nullptr; record = record->pNext)
        addresses.push_back(record->szIPAddress);
    return addresses;
}
