// The Windows records and constants that the interface carries: the SDK's own, so that a client may include
// <windows.h> before or after <Veltrane.h>. Installed as VeltraneWindowsRecords.h.
#pragma once

// Winsock 2 first: <windows.h> alone brings the old winsock.h (unless WIN32_LEAN_AND_MEAN), which cannot
// stand beside it. A client that included <windows.h> already has SOCKET from winsock.h, and then gets
// nothing more from here: adding winsock2.h after it would clash.
#ifndef _WINSOCKAPI_
#include <winsock2.h>
#endif
#include <windows.h>
