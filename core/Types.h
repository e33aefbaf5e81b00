// The library's basic vocabulary: the wide character, the status codes and the export macro.
#pragma once

#include <cstdint>

#include "VeltraneExport.h"

// One UTF-16 code unit. Wide text everywhere in the interface is a zero-terminated run of these.
typedef char16_t wchar16;

// Status codes. Zero or a positive count is success; a negative result is one of these.
// -10004 and -10011 are not in use and stay free.
constexpr int OS_ERR_OUT_OF_RANGE = -10000;
constexpr int OS_ERR_NULL_ARGUMENT = -10001;
constexpr int OS_ERR_ENCODING = -10002;
constexpr int OS_ERR_BAD_PATH = -10003;
constexpr int OS_ERR_CREATE_DIRECTORY = -10005;
constexpr int OS_ERR_WRITE = -10006;
constexpr int OS_ERR_OPEN = -10007;
constexpr int OS_ERR_READ = -10008;
constexpr int OS_ERR_BUFFER_TOO_SMALL = -10009;
constexpr int OS_ERR_ADAPTER_LIST = -10010;
constexpr int OS_ERR_ADAPTER_NOT_FOUND = -10012;
constexpr int OS_ERR_NETWORK = -10013;
constexpr int OS_ERR_HEX_FORMAT = -10014;

// The name of a status code ("OS_ERR_ENCODING"), or "" for a value that is none.
VELTRANE_API const char* OsErrorName(int status);
