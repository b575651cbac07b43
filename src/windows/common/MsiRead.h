// Reads a string of unknown length from the Windows Installer.
#pragma once

#include <windows.h>

#include <algorithm>

#include "common/share/PmtError.h"
#include "common/share/Text.h"
#include "common/share/tstring.h"
#include "windows/common/MsiError.h"

namespace msi {

/// Returns the string of one of the installer's reading functions. `read` passes a buffer and its
/// size in characters to the function `name`; a failure is reported with its first two arguments.
/// Throws msi::Error.
template <class First, class Second, class Read>
tstring readText(const TCHAR* name, const First& first, const Second& second, Read read) {
    constexpr std::size_t kFirstSize = 20;
    tstring buffer(kFirstSize, _T('\0'));
    for (;;) {
        auto count = static_cast<DWORD>(buffer.size());
        const UINT status = read(buffer.data(), &count);
        if (status == ERROR_SUCCESS) {
            buffer.resize(std::min<std::size_t>(count, buffer.size()));
            return buffer;
        }
        if (status != ERROR_MORE_DATA) {
            raise<Error>("msi::`anonymous-namespace'::getProperty",
                         Text() << name << _T("(") << first << _T(", ") << second << _T(") failed"),
                         status);
        }
        buffer.assign(buffer.size() * 2, _T('\0'));
    }
}

}  // namespace msi
