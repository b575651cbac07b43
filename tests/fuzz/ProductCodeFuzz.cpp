// Any text as a product code.
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "common/share/NorvVersion.h"
#include "fuzz/Require.h"
#include "windows/common/Guid.h"
#include "windows/common/KnownProductCodeInstalledNorvTracker.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tstring text(size / sizeof(TCHAR), _T('\0'));
    std::memcpy(text.data(), data, text.size() * sizeof(TCHAR));
    for (const tstring& code : {text, tstring(data, data + size)}) {
        try {
            const Guid guid(code);
            const tstring canonical = guid.toString();
            require(canonical.size() == 38);
            require(Guid(canonical) == guid);
        } catch (const std::runtime_error&) {
        }
        tstring version;
        if (KnownProductCodeInstalledNorvTracker::match(code, version) != nullptr) {
            require(code.size() == 38);
            try {
                const NorvVersionDetails::Base parsed(version);
                require(parsed.tag() != 0);
            } catch (const std::runtime_error&) {
            }
        }
    }
    return 0;
}
