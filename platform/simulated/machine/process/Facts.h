// What a Windows machine and the process on it are: version, bitness, languages, clock,
// environment, directories, ids. Tests set the members before a library is loaded.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <windef.h>

#include "simulated/machine/Names.h"

namespace simulated {

/// Time on the machine. It stands still until a test or `Sleep` moves it on.
class Clock {
public:
    /// The local time is the machine's only one: its time zone is UTC.
    void set(const SYSTEMTIME& time);
    SYSTEMTIME localTime() const;
    /// Milliseconds since Windows started; GetTickCount gives the low 32 bits.
    std::uint64_t ticks() const { return ticks_; }
    void setTicks(std::uint64_t ticks) { ticks_ = ticks; }

    void advance(std::uint64_t milliseconds);

private:
    std::uint64_t fileTime_ = 0;  ///< hundreds of nanoseconds since 1601
    std::uint64_t ticks_ = 3600000;
};

struct WindowsVersion {
    std::uint32_t major = 10;
    std::uint32_t minor = 0;
    std::uint32_t build = 19045;
};

struct Facts {
    WindowsVersion version;
    bool is64BitSystem = true;
    bool is64BitProcess = true;

    /// What GetThreadPreferredUILanguages answers for the format MUI_LANGUAGE_ID, fall-backs and
    /// all.
    std::vector<std::u16string> uiLanguages = {u"0409", u"0009"};
    std::uint32_t threadLocale = 0x0409;
    std::uint16_t userLanguage = 0x0409;
    std::uint16_t systemLanguage = 0x0409;

    Clock clock;

    std::u16string windowsDirectory = u"C:\\Windows";
    std::u16string systemDirectory = u"C:\\Windows\\System32";
    std::u16string wow64Directory = u"C:\\Windows\\SysWOW64";
    std::u16string modulePath =
        u"C:\\Windows\\Installer\\norvca.dll";  ///< of the product's library
    std::u16string programPath = u"C:\\Windows\\System32\\msiexec.exe";  ///< of the process itself

    std::uint32_t processId = 4120;
    std::uint32_t threadId = 4124;  ///< of the first thread that asks; each further one has 4 more

    /// The environment of the process.
    NameMap<std::u16string> environment;

    Facts();

    bool isWow64() const { return is64BitSystem && !is64BitProcess; }

    std::map<std::thread::id, std::uint32_t> threadIds;  ///< of the functions that serve it
};

}  // namespace simulated
