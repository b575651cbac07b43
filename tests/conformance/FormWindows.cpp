#include "Form.h"

#include <windows.h>

bool isWindows64Bit() {
    return isProgram64Bit() || GetEnvironmentVariableW(L"PROCESSOR_ARCHITEW6432", nullptr, 0) != 0;
}

bool isProgram64Bit() {
    return sizeof(void*) == 8;
}
