#include <windows.h>

#include "simulated/machine/process/Facts.h"

#include <chrono>

namespace simulated {

namespace {

using namespace std::chrono;

constexpr std::uint64_t kPerMillisecond = 10000;
constexpr sys_days kFirstDay = sys_days(year(1601) / January / 1);

}  // namespace

void Clock::set(const SYSTEMTIME& time) {
    const sys_days day(year(time.wYear) / month(time.wMonth) / time.wDay);
    const milliseconds sinceFirst = day - kFirstDay + hours(time.wHour) + minutes(time.wMinute) +
                                    seconds(time.wSecond) + milliseconds(time.wMilliseconds);
    fileTime_ = static_cast<std::uint64_t>(sinceFirst.count()) * kPerMillisecond;
}

SYSTEMTIME Clock::localTime() const {
    const auto now = kFirstDay + milliseconds(fileTime_ / kPerMillisecond);
    const auto day = floor<days>(now);
    const year_month_day date(day);
    const hh_mm_ss time(now - day);
    const auto narrow = [](auto number) { return static_cast<WORD>(number); };
    return {narrow(static_cast<int>(date.year())), narrow(static_cast<unsigned>(date.month())),
            narrow(weekday(day).c_encoding()),     narrow(static_cast<unsigned>(date.day())),
            narrow(time.hours().count()),          narrow(time.minutes().count()),
            narrow(time.seconds().count()),        narrow(time.subseconds().count())};
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

}  // namespace simulated
