// COsAdapter: the machine's IPv4 addresses with the adapters that carry them, one record per usable address.
#pragma once

#include <string>
#include <vector>

#include "../core/Types.h"

// One record of the list: one usable address and its adapter. The caller allocates it; each text is
// zero-filled behind its end.
struct _S_Adapter_Info
{
    _S_Adapter_Info* pNext;   // the record behind this one in the caller's array, null in the last
    char szAdapterName[512];  // the system's name of the adapter, at most 256 bytes of it
    char szDescription[512];  // the system's description of the adapter, at most 132 bytes of it
    char szMac[80];           // the hardware address, "%02X" bytes joined by ':'; empty when it has none
    char szIPAddress[80];     // the dotted address
    char szIPMask[80];        // the dotted mask
};

class VELTRANE_API COsAdapter
{
public:
    // Fills the caller's array pInfo of *pSize bytes with a record for every usable address (neither
    // "0.0.0.0" nor "127.0.0.1"), in the system's order of adapters and of each adapter's addresses, linked
    // through pNext. 0 (with *pSize unchanged, also when there is nothing to list); OS_ERR_BUFFER_TOO_SMALL
    // with the size needed in *pSize and nothing written; OS_ERR_ADAPTER_LIST when the system refused the
    // list. So a *pSize of 0 asks for the size.
    static int GetAllAdapters(_S_Adapter_Info* pInfo, unsigned int* pSize);
    // The five texts of the first record whose hardware address equals strMac, ignoring case, with pNext
    // null; an empty strMac takes the first record (all texts empty on a machine without a usable address).
    // 0, OS_ERR_ADAPTER_NOT_FOUND with info untouched, or what GetAllAdapters gave for room of 32 records.
    static int GetAdapterFromMac(const std::string& strMac, _S_Adapter_Info& info);
    // The dotted addresses of the records in their order; one empty text on a machine without a usable
    // address, and an empty vector when the list could not be had.
    static std::vector<std::string> GetAllLocalIP();

private:
    COsAdapter() = default;
    ~COsAdapter() = default;
};
