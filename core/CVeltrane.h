// CVeltrane: the process-wide facade that answers for the library, the machine and the process.
#pragma once

#include <cstdint>
#include <string>

#include "CMonitoredSection.h"
#include "Types.h"

class VELTRANE_API CVeltrane
{
public:
    // The facade, made at the first call; concurrent first calls make one object. Null when memory runs out;
    // the next call tries again.
    static CVeltrane* GetInstance();

    // Ends the facade (and the log hub with it); nothing without one. Must not race GetInstance.
    static void FreeInstance();

    std::string VeltraneVersion() const;
    std::string MachineName();
    std::string ProcessName() const;
    std::string ProcessPath() const;
    std::string OsVersion() const;
    std::string CoreVersion() const;
    std::string GCCVersion() const;
    // The library's directory, ending in "/": relative names are taken from here.
    std::string VeltraneLibDir() const;
    // The system this build is for, whatever the machine it runs on.
    std::string DestOsVersion() const;
    std::string DestOsBit() const;
    uint32_t OsBits() const;

    // Each text is owned once; copying one facade onto another would release them twice.
    CVeltrane& operator=(const CVeltrane&) = delete;

private:
    CVeltrane();
    ~CVeltrane();
    CVeltrane(const CVeltrane&);
    void ReleaseTexts();

    char* m_szVeltraneVersion;
    char* m_szMachineName;
    char* m_szProcessName;
    char* m_szProcessPath;
    char* m_szOsVersion;
    char* m_szCoreVersion;
    char* m_szGCCVersion;
    uint32_t m_nOsBits;
    char* m_szVeltraneLibDir;

    static CVeltrane* s_Veltrane;
    static CMonitoredSection s_MonitoredSection;
};
