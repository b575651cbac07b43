// Answered by the dynamic linker: every function of Windows is exported by the image that has this
// source, and what is in another image is the product's.
#include "simulated/machine/process/Image.h"

#include <windows.h>

#include <dlfcn.h>

namespace simulated {

namespace {

struct OwnImage {
    OwnImage() {
        Dl_info info = {};
        dladdr(reinterpret_cast<const void*>(&GetProcAddress), &info);
        base = info.dli_fbase;
        handle = dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD);
    }

    const void* base;
    void* handle;
};

const OwnImage& ownImage() {
    static const OwnImage image;
    return image;
}

}  // namespace

void* windowsFunction(const char* name) {
    void* const address = dlsym(ownImage().handle, name);
    Dl_info info = {};
    const bool isOwn =
        address != nullptr && dladdr(address, &info) != 0 && info.dli_fbase == ownImage().base;
    return isOwn ? address : nullptr;
}

std::optional<AddressOwner> ownerOfAddress(const void* address) {
    Dl_info info = {};
    if (dladdr(address, &info) == 0) {
        return std::nullopt;
    }
    if (info.dli_fbase != ownImage().base) {
        return AddressOwner{.isProduct = true, .function = {}};
    }
    const bool isStart = info.dli_sname != nullptr && info.dli_saddr == address;
    return AddressOwner{.isProduct = false, .function = isStart ? info.dli_sname : ""};
}

}  // namespace simulated
