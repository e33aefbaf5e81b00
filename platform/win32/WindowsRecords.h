// The Windows records and constants that the interface carries: the SDK's own, so that a client may include
// <windows.h> before or after <Veltrane.h>. Installed as VeltraneWindowsRecords.h.
#pragma once

// Winsock 2 first: <windows.h> alone would bring the old winsock.h, which cannot stand beside it.
#include <winsock2.h>
#include <windows.h>
