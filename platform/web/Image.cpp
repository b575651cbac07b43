// WebAssembly has no dynamic linker that could find a function by its name. The functions that the
// library looks up are listed here; everything else that has an address is the library's own.
#include "simulated/machine/process/Image.h"

#include <windows.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "simulated/machine/Calls.h"

// No header of Windows that the library includes declares it.
extern "C" LONG WINAPI RtlGetVersion(OSVERSIONINFOW* version);

namespace simulated {

namespace {

struct Function {
    std::string_view name;
    void* address;
};

template <class F>
void* addressOf(F* function) {
    return reinterpret_cast<void*>(function);
}

const Function kFunctions[] = {
    {"GetThreadPreferredUILanguages", addressOf(&GetThreadPreferredUILanguages)},
    {"GetVersionExW", addressOf(&GetVersionExW)},
    {"IsWow64Process", addressOf(&IsWow64Process)},
    {"RegDeleteKeyExW", addressOf(&RegDeleteKeyExW)},
    {"RegDeleteTreeW", addressOf(&RegDeleteTreeW)},
    {"RtlGetVersion", addressOf(&RtlGetVersion)},
};

}  // namespace

void* windowsFunction(const char* name) {
    const auto found = std::find_if(std::begin(kFunctions), std::end(kFunctions),
                                    [name](const Function& each) { return each.name == name; });
    if (found == std::end(kFunctions)) {
        notSupported("GetProcAddress", name);
    }
    return found->address;
}

std::optional<AddressOwner> ownerOfAddress(const void* address) {
    const auto found =
        std::find_if(std::begin(kFunctions), std::end(kFunctions),
                     [address](const Function& each) { return each.address == address; });
    if (found == std::end(kFunctions)) {
        return AddressOwner{.isProduct = true, .function = {}};
    }
    return AddressOwner{.isProduct = false, .function = std::string(found->name)};
}

}  // namespace simulated
