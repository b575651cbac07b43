#include <windows.h>

#include "simulated/machine/Facts.h"

namespace simulated {

namespace {

constexpr std::uint64_t kPerMillisecond = 10000;
constexpr std::uint64_t kPerDay = 24ull * 60 * 60 * 1000 * kPerMillisecond;

/// Days since 1601-01-01 of a date of the Gregorian calendar, and back. Years are counted from
/// March, so that the leap day is the last of its year.
std::int64_t daysFromDate(std::int64_t year, unsigned month, unsigned day) {
    year -= month <= 2 ? 1 : 0;
    const std::int64_t era = year / 400;
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 584694;
}

void setDate(SYSTEMTIME& time, std::int64_t days) {
    const std::int64_t shifted = days + 584694;
    const std::int64_t era = shifted / 146097;
    const std::int64_t dayOfEra = shifted - era * 146097;
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t monthFromMarch = (5 * dayOfYear + 2) / 153;
    time.wDay = static_cast<WORD>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
    time.wMonth = static_cast<WORD>(monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9);
    time.wYear = static_cast<WORD>(yearOfEra + era * 400 + (time.wMonth <= 2 ? 1 : 0));
    time.wDayOfWeek = static_cast<WORD>((days + 1) % 7);  // 1601 began on a Monday
}

}  // namespace

void Clock::set(const SYSTEMTIME& time) {
    const std::uint64_t seconds = time.wHour * 3600ull + time.wMinute * 60ull + time.wSecond;
    fileTime_ =
        static_cast<std::uint64_t>(daysFromDate(time.wYear, time.wMonth, time.wDay)) * kPerDay +
        (seconds * 1000 + time.wMilliseconds) * kPerMillisecond;
}

SYSTEMTIME Clock::localTime() const {
    SYSTEMTIME time = {};
    setDate(time, static_cast<std::int64_t>(fileTime_ / kPerDay));
    const std::uint64_t milliseconds = fileTime_ % kPerDay / kPerMillisecond;
    time.wHour = static_cast<WORD>(milliseconds / 3600000);
    time.wMinute = static_cast<WORD>(milliseconds / 60000 % 60);
    time.wSecond = static_cast<WORD>(milliseconds / 1000 % 60);
    time.wMilliseconds = static_cast<WORD>(milliseconds % 1000);
    return time;
}

void Clock::advance(std::uint64_t milliseconds) {
    ticks_ += milliseconds;
    fileTime_ += milliseconds * kPerMillisecond;
}

Facts::Facts() {
    clock.set({2024, 2, 4, 29, 12, 0, 0, 0});
    environment = {
        {u"SystemRoot", u"C:\\Windows"},
        {u"windir", u"C:\\Windows"},
        {u"SystemDrive", u"C:"},
        {u"USERPROFILE", u"C:\\Users\\User"},
        {u"TEMP", u"C:\\Users\\User\\AppData\\Local\\Temp"},
        {u"TMP", u"C:\\Users\\User\\AppData\\Local\\Temp"},
        {u"Path", u"C:\\Windows\\system32;C:\\Windows"},
    };
}

std::optional<std::u16string> Facts::variable(std::u16string_view name) const {
    if (const auto changed = processEnvironment.find(name); changed != processEnvironment.end()) {
        return changed->second;
    }
    const auto found = environment.find(name);
    return found == environment.end() ? std::nullopt : std::optional(found->second);
}

void Facts::endProcess() {
    processEnvironment.clear();
    threadIds.clear();
}

}  // namespace simulated
