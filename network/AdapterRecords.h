// Internal: the records of COsAdapter, built from the host's adapter list: which addresses are usable, the
// size protocol of the caller's array, the limits of each text and the links between the records.
#pragma once

#include <vector>

#include "network/COsAdapter.h"
#include "platform/interfaces.h"

namespace adapter_records {

// The bytes of the host's texts that a record takes.
constexpr size_t kNameLimit = 256;
constexpr size_t kDescriptionLimit = 132;
constexpr size_t kHardwareLimit = 79;
constexpr size_t kAddressLimit = 16;

// Whether an address text names a usable address: neither "0.0.0.0" nor "127.0.0.1".
bool IsUsable(const std::string& address);

// Steps after the system's list was had: 0, OS_ERR_BUFFER_TOO_SMALL with the size needed in *pSize, or
// OS_ERR_ADAPTER_LIST when the records' size cannot be told in an unsigned int; OS_ERR_NULL_ARGUMENT for a
// null pSize, or a null pInfo that would have to be written.
int Build(const std::vector<platform::AdapterEntry>& adapters, _S_Adapter_Info* pInfo, unsigned int* pSize);

}  // namespace adapter_records
