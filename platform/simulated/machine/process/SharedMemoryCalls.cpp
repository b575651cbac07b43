// Named file mappings without a file, and views of them.
#include <windows.h>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

class MappingHandle : public HandleObject {
public:
    MappingHandle(std::shared_ptr<SharedBlock> held, DWORD rights)
        : block(std::move(held)), access(rights) {}
    std::string description() const override { return "file mapping " + block->name; }

    std::shared_ptr<SharedBlock> block;
    DWORD access;
};

class ViewHandle : public HandleObject {
public:
    explicit ViewHandle(std::shared_ptr<SharedBlock> held) : block(std::move(held)) {}
    std::string description() const override { return "view of file mapping " + block->name; }
    bool isOfKernel() const override { return false; }

    std::shared_ptr<SharedBlock> block;
};

}  // namespace

extern "C" {

HANDLE WINAPI CreateFileMappingA(HANDLE file, LPSECURITY_ATTRIBUTES, DWORD protection,
                                 DWORD sizeHigh, DWORD sizeLow, LPCSTR name) {
    return call("CreateFileMappingA", ERROR_ACCESS_DENIED, [&] {
        if (file != INVALID_HANDLE_VALUE || protection != PAGE_READWRITE || sizeHigh != 0 ||
            sizeLow == 0 || name == nullptr) {
            notSupported("CreateFileMappingA", "anything but a named block");
        }
        Machine& machine = Machine::current();
        std::shared_ptr<SharedBlock> block = machine.sharedMemory.find(name);
        if (block != nullptr) {
            SetLastError(ERROR_ALREADY_EXISTS);
        } else {
            block = machine.sharedMemory.create(name, sizeLow);
        }
        return machine.handles.add(std::make_shared<MappingHandle>(block, FILE_MAP_ALL_ACCESS));
    });
}

HANDLE WINAPI OpenFileMappingA(DWORD access, BOOL, LPCSTR name) {
    return call("OpenFileMappingA", ERROR_ACCESS_DENIED, [&] {
        demand(name != nullptr, ERROR_INVALID_PARAMETER);
        Machine& machine = Machine::current();
        const std::shared_ptr<SharedBlock> block = machine.sharedMemory.find(name);
        demand(block != nullptr, ERROR_FILE_NOT_FOUND);
        return machine.handles.add(std::make_shared<MappingHandle>(block, access));
    });
}

LPVOID WINAPI MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow,
                            SIZE_T size) {
    return call("MapViewOfFile", ERROR_ACCESS_DENIED, [&] {
        Machine& machine = Machine::current();
        const auto open = machine.handles.find<MappingHandle>(mapping);
        demand(open != nullptr, ERROR_INVALID_HANDLE);
        // FILE_MAP_ALL_ACCESS means writing; its further rights don't concern a view.
        const DWORD wanted = access & (FILE_MAP_READ | FILE_MAP_WRITE);
        demand((open->access & wanted) == wanted, ERROR_ACCESS_DENIED);
        constexpr std::size_t kPage = 4096;
        const std::size_t pages = (open->block->bytes.size() + kPage - 1) / kPage;
        demand(size <= pages * kPage, ERROR_ACCESS_DENIED);
        if (wanted == 0 || offsetHigh != 0 || offsetLow != 0) {
            notSupported("MapViewOfFile", "a part of a block, or a copy");
        }
        void* const address = open->block->bytes.data();
        if (machine.sharedMemory.views().contains(address)) {
            notSupported("MapViewOfFile", "a second view of a block");
        }
        machine.sharedMemory.views()[address] =
            machine.handles.add(std::make_shared<ViewHandle>(open->block));
        return address;
    });
}

BOOL WINAPI FlushViewOfFile(LPCVOID address, SIZE_T) {
    return call("FlushViewOfFile", ERROR_INVALID_ADDRESS, [&] {
        Machine& machine = Machine::current();
        const auto found = machine.sharedMemory.views().find(address);
        demand(found != machine.sharedMemory.views().end(), ERROR_INVALID_ADDRESS);
        machine.sharedMemory.flushed(*machine.handles.find<ViewHandle>(found->second)->block);
    });
}

BOOL WINAPI UnmapViewOfFile(LPCVOID address) {
    Machine& machine = Machine::current();
    auto& views = machine.sharedMemory.views();
    const BOOL isUnmapped = call("UnmapViewOfFile", ERROR_INVALID_ADDRESS, [&] {
        const auto found = views.find(address);
        demand(found != views.end(), ERROR_INVALID_ADDRESS);
        machine.handles.close(found->second);
        views.erase(found);
    });
    if (!isUnmapped) {
        views.erase(address);  // its owner doesn't use it again, and the next view has its address
    }
    return isUnmapped;
}

}  // extern "C"
