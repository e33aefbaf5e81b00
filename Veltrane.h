// Veltrane: the one header a client includes. It brings in every exported class, record, function and status.
#pragma once

#include "core/Types.h"
#include "core/WindowsTypes.h"
#include "core/Blocks.h"
#include "core/CMonitoredSection.h"
#include "core/COsThread.h"
#include "core/COsThreadTpl.h"
#include "core/CVeltrane.h"

#include "strings/COsContainer.h"
#include "strings/COsConverter.h"
#include "strings/COsNumeric.h"
#include "strings/COsString.h"
#include "strings/StringHelpers.h"

#include "encoding/COsEncoding.h"
#include "encoding/COsTextFile.h"
#include "encoding/ETextFormat.h"
#include "encoding/PinYin.h"

#include "filesystem/COsDirectory.h"
#include "filesystem/COsFile.h"
#include "filesystem/COsFileLocker.h"

#include "time/COsSystemTime.h"

#include "network/COsAdapter.h"
#include "network/COsPing.h"
#include "network/COsSocket.h"

#include "logging/COsLog.h"

#include "identity/COsGuid.h"
#include "identity/COsLibrary.h"
#include "identity/COsSystem.h"
