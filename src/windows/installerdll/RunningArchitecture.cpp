#include "windows/installerdll/RunningArchitecture.h"

#include "windows/common/SysInfo.h"

std::uint32_t runningBits() {
    return SysInfo::is64BitOs() && !SysInfo::isWow64() ? 64 : 32;
}
