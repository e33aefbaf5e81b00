// Names of the status codes, for messages and tests.
#include "core/Types.h"

const char* OsErrorName(int status)
{
    switch (status) {
    case OS_ERR_OUT_OF_RANGE: return "OS_ERR_OUT_OF_RANGE";
    case OS_ERR_NULL_ARGUMENT: return "OS_ERR_NULL_ARGUMENT";
    case OS_ERR_ENCODING: return "OS_ERR_ENCODING";
    case OS_ERR_BAD_PATH: return "OS_ERR_BAD_PATH";
    case OS_ERR_CREATE_DIRECTORY: return "OS_ERR_CREATE_DIRECTORY";
    case OS_ERR_WRITE: return "OS_ERR_WRITE";
    case OS_ERR_OPEN: return "OS_ERR_OPEN";
    case OS_ERR_READ: return "OS_ERR_READ";
    case OS_ERR_BUFFER_TOO_SMALL: return "OS_ERR_BUFFER_TOO_SMALL";
    case OS_ERR_ADAPTER_LIST: return "OS_ERR_ADAPTER_LIST";
    case OS_ERR_ADAPTER_NOT_FOUND: return "OS_ERR_ADAPTER_NOT_FOUND";
    case OS_ERR_NETWORK: return "OS_ERR_NETWORK";
    case OS_ERR_HEX_FORMAT: return "OS_ERR_HEX_FORMAT";
    default: return "";
    }
}
