#include "common/share/ProcessPaths.h"

#include "common/share/GrowingBuffer.h"

namespace {

constexpr std::size_t kFirstSize = 260;

}  // namespace

HMODULE moduleOf(const void* address) noexcept {
    HMODULE module = nullptr;
    constexpr DWORD kFlags =
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    return GetModuleHandleExW(kFlags, static_cast<LPCWSTR>(address), &module) ? module : nullptr;
}

tstring modulePath(HMODULE module) {
    return readGrowing<tstring>(kFirstSize, [=](TCHAR* path, std::size_t size) {
        const std::size_t length = GetModuleFileNameW(module, path, static_cast<DWORD>(size));
        return length < size ? length : size * 2;
    });
}

tstring temporaryDirectory() {
    tstring directory = readGrowing<tstring>(kFirstSize, [](TCHAR* path, std::size_t size) {
        return GetTempPathW(static_cast<DWORD>(size), path);
    });
    directory.erase(directory.find_last_not_of(_T("\\/")) + 1);
    return directory;
}
