// The Windows records and constants that the interface carries (HANDLE, SOCKET, FILETIME, SYSTEMTIME,
// WIN32_FIND_DATAW, the attribute bits). In the Windows build they are the SDK's own, so that a client may
// include <windows.h> before or after this header; elsewhere the library defines them with the same names
// and the fields it uses. The build puts the host's form in place under the name below.
#pragma once

#include "Types.h"
#include "VeltraneWindowsRecords.h"
