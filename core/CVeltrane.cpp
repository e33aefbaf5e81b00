// CVeltrane: the facade's snapshot of the library, the machine and the process, taken once at creation.
#include "core/CVeltrane.h"

#include <new>

#include "core/SectionGuard.h"
#include "identity/COsSystem.h"
#include "logging/COsLog.h"
#include "platform/sysinfo.h"
#include "strings/COsString.h"

CVeltrane* CVeltrane::s_Veltrane = nullptr;
CMonitoredSection CVeltrane::s_MonitoredSection;

namespace {

const char kVeltraneVersion[] = "1.25.0104.00";

// Each field holds its own library-allocated copy of the text.
void StoreCopy(const std::string& text, char** field)
{
    COsString::Copy(text.c_str(), field);
}

std::string TextOf(const char* field)
{
    return field == nullptr ? std::string() : std::string(field);
}

}  // namespace

CVeltrane* CVeltrane::GetInstance()
{
    SectionGuard lock(s_MonitoredSection);
    if (s_Veltrane == nullptr) {
        try {
            s_Veltrane = new CVeltrane();
        } catch (const std::bad_alloc&) {
            return nullptr;  // memory ran out: no facade, as a pointer result says
        }
    }
    return s_Veltrane;
}

void CVeltrane::FreeInstance()
{
    if (s_Veltrane == nullptr)
        return;
    delete s_Veltrane;
    s_Veltrane = nullptr;
}

CVeltrane::CVeltrane()
    : m_szVeltraneVersion(nullptr),
      m_szMachineName(nullptr),
      m_szProcessName(nullptr),
      m_szProcessPath(nullptr),
      m_szOsVersion(nullptr),
      m_szCoreVersion(nullptr),
      m_szGCCVersion(nullptr),
      m_nOsBits(0),
      m_szVeltraneLibDir(nullptr)
{
    try {
        StoreCopy(kVeltraneVersion, &m_szVeltraneVersion);
        StoreCopy(COsSystem::GetMachineName(), &m_szMachineName);
        StoreCopy(COsSystem::GetSystemVersion(), &m_szOsVersion);
        StoreCopy(COsSystem::GetProcessName(), &m_szProcessName);
        StoreCopy(COsSystem::GetProcessPath(), &m_szProcessPath);
        StoreCopy(COsSystem::GetCoreVersion(), &m_szCoreVersion);
        StoreCopy(COsSystem::GetGCCVersion(), &m_szGCCVersion);
        StoreCopy(COsSystem::GetVeltraneLibDir(), &m_szVeltraneLibDir);
        m_nOsBits = COsSystem::GetSystemBits();
    } catch (...) {
        ReleaseTexts();  // no destructor runs for an object whose construction failed
        throw;
    }
}

CVeltrane::~CVeltrane()
{
    ReleaseTexts();
    s_Veltrane = nullptr;
    // The facade's life bounds the log hub's: a client that ends the one ends the other before it unloads.
    COsLog::FreeInstance();
}

void CVeltrane::ReleaseTexts()
{
    delete[] m_szVeltraneVersion;
    delete[] m_szMachineName;
    delete[] m_szProcessName;
    delete[] m_szProcessPath;
    delete[] m_szOsVersion;
    delete[] m_szCoreVersion;
    delete[] m_szGCCVersion;
    delete[] m_szVeltraneLibDir;
}

std::string CVeltrane::VeltraneVersion() const { return TextOf(m_szVeltraneVersion); }
std::string CVeltrane::MachineName() { return TextOf(m_szMachineName); }
std::string CVeltrane::ProcessName() const { return TextOf(m_szProcessName); }
std::string CVeltrane::ProcessPath() const { return TextOf(m_szProcessPath); }
std::string CVeltrane::OsVersion() const { return TextOf(m_szOsVersion); }
std::string CVeltrane::CoreVersion() const { return TextOf(m_szCoreVersion); }
std::string CVeltrane::GCCVersion() const { return TextOf(m_szGCCVersion); }
std::string CVeltrane::VeltraneLibDir() const { return TextOf(m_szVeltraneLibDir); }
std::string CVeltrane::DestOsVersion() const { return platform::SystemFamilyName(); }
std::string CVeltrane::DestOsBit() const { return sizeof(void*) == 8 ? "64" : "32"; }
uint32_t CVeltrane::OsBits() const { return m_nOsBits; }
