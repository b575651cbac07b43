#include <windows.h>

#include <cassert>
#include <cstring>
#include <string>

#include "common/share/LogException.h"
#include "common/share/PmtError.h"
#include "common/share/tstrings.h"
#include "common/windows/WinAutoHandle.h"
#include "ipc/include/ipc/SharedMemory.h"
#include "windows/common/Guid.h"

namespace ipc {

namespace {

void closeMapping(HANDLE mapping) noexcept {
    CloseHandle(mapping);
}

}  // namespace

struct SharedMemoryUnsafe::Impl {
    AutoHandle<HANDLE, closeMapping> mapping;
    std::size_t size;
    std::string name;
};

SharedMemoryUnsafe::SharedMemoryUnsafe(Open, const char* name) {
    assert(name);
    AutoHandle<HANDLE, closeMapping> mapping(
        OpenFileMappingA(FILE_MAP_READ | FILE_MAP_WRITE, FALSE, name));
    if (!mapping) {
        raise<PlatformError>("ipc::SharedMemoryUnsafe::create");
    }
    impl_.reset(new Impl{std::move(mapping), kRecordSize, name});
}

SharedMemoryUnsafe::SharedMemoryUnsafe(Create, const char* name) {
    const std::string chosen =
        name != nullptr ? name : tstrings::toUtf8(Guid::generate().toString());
    AutoHandle<HANDLE, closeMapping> mapping(CreateFileMappingA(
        INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kRecordSize, chosen.c_str()));
    if (!mapping) {
        raise<PlatformError>("ipc::SharedMemoryUnsafe::create");
    }
    impl_.reset(new Impl{std::move(mapping), kRecordSize, chosen});
}

SharedMemoryUnsafe::~SharedMemoryUnsafe() = default;

std::size_t SharedMemoryUnsafe::getSize() const {
    assert(impl_);
    return impl_->size;
}

SharedMemoryUnsafe::Snapshot::Snapshot(const SharedMemoryUnsafe& memory)
    : buffer{}, view_(nullptr), size_(memory.getSize()) {
    view_ = MapViewOfFile(memory.impl_->mapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, size_);
    if (view_ == nullptr) {
        raise<PlatformError>("ipc::SharedMemoryUnsafe::Snapshot::Snapshot");
    }
    assert(sizeof(buffer) == size_);
    std::memmove(buffer, view_, size_);
}

void SharedMemoryUnsafe::Snapshot::flush() {
    assert(view_);
    std::memmove(view_, buffer, size_);
    if (!FlushViewOfFile(view_, size_)) {
        raise<PlatformError>("ipc::SharedMemoryUnsafe::Snapshot::flush");
    }
}

SharedMemoryUnsafe::Snapshot::~Snapshot() {
    constexpr const char* kFunction = "ipc::SharedMemoryUnsafe::Snapshot::~Snapshot";
    runLogged(kFunction, [this] {
        if (!UnmapViewOfFile(view_)) {
            raise<PlatformError>(kFunction);
        }
    });
}

}  // namespace ipc
