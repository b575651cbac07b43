#include <windows.h>

#include "simulated/machine/SharedMemory.h"

#include <algorithm>

#include "simulated/machine/Machine.h"

namespace simulated {

void SharedMemory::holdByOther(const std::string& name, std::size_t size) {
    std::shared_ptr<SharedBlock> block = find(name);
    others_[name] = block != nullptr ? block : create(name, size);
}

void SharedMemory::releaseByOther(const std::string& name) {
    others_.erase(name);
}

std::optional<std::vector<std::uint8_t>> SharedMemory::content(const std::string& name) const {
    const std::shared_ptr<SharedBlock> block = find(name);
    return block == nullptr ? std::nullopt : std::optional(block->bytes);
}

void SharedMemory::write(const std::string& name, const std::vector<std::uint8_t>& bytes) {
    if (const std::shared_ptr<SharedBlock> block = find(name)) {
        std::copy_n(bytes.begin(), std::min(bytes.size(), block->bytes.size()),
                    block->bytes.begin());
    }
}

std::shared_ptr<SharedBlock> SharedMemory::find(const std::string& name) const {
    const auto found = blocks_.find(name);
    return found == blocks_.end() ? nullptr : found->second.lock();
}

std::shared_ptr<SharedBlock> SharedMemory::create(const std::string& name, std::size_t size) {
    auto block = std::make_shared<SharedBlock>();
    block->name = name;
    block->bytes.resize(size);
    if (!name.empty()) {
        blocks_[name] = block;
    }
    return block;
}

void SharedMemory::flushed(const SharedBlock& block) const {
    if (observer_) {
        observer_(block.name, block.bytes);
    }
}

void SharedMemory::restart() {
    others_.clear();
    blocks_.clear();
}

}  // namespace simulated

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

HANDLE failNull(DWORD status) {
    SetLastError(status);
    return nullptr;
}

HANDLE createMapping(HANDLE file, DWORD protection, DWORD sizeHigh, DWORD sizeLow,
                     const std::string& name) {
    if (file != INVALID_HANDLE_VALUE) {
        return failNull(ERROR_NOT_SUPPORTED);  // mappings of files are not simulated
    }
    if (protection != PAGE_READWRITE || sizeHigh != 0 || sizeLow == 0) {
        return failNull(ERROR_INVALID_PARAMETER);
    }
    Machine& machine = Machine::current();
    std::shared_ptr<SharedBlock> block = name.empty() ? nullptr : machine.sharedMemory.find(name);
    const bool exists = block != nullptr;
    if (!exists) {
        block = machine.sharedMemory.create(name, sizeLow);
    }
    SetLastError(exists ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return machine.handles.add(std::make_shared<MappingHandle>(block, FILE_MAP_ALL_ACCESS));
}

}  // namespace

extern "C" {

HANDLE WINAPI CreateFileMappingA(HANDLE file, LPSECURITY_ATTRIBUTES, DWORD protection,
                                 DWORD sizeHigh, DWORD sizeLow, LPCSTR name) {
    Call call("CreateFileMappingA");
    if (call.fails()) {
        return failNull(call.status(ERROR_ACCESS_DENIED));
    }
    return createMapping(file, protection, sizeHigh, sizeLow, name == nullptr ? "" : name);
}

HANDLE WINAPI CreateFileMappingW(HANDLE file, LPSECURITY_ATTRIBUTES, DWORD protection,
                                 DWORD sizeHigh, DWORD sizeLow, LPCWSTR name) {
    Call call("CreateFileMappingW");
    if (call.fails()) {
        return failNull(call.status(ERROR_ACCESS_DENIED));
    }
    return createMapping(file, protection, sizeHigh, sizeLow, toUtf8(argument(name)));
}

HANDLE WINAPI OpenFileMappingA(DWORD access, BOOL, LPCSTR name) {
    Call call("OpenFileMappingA");
    if (call.fails()) {
        return failNull(call.status(ERROR_ACCESS_DENIED));
    }
    if (name == nullptr) {
        return failNull(ERROR_INVALID_PARAMETER);
    }
    Machine& machine = Machine::current();
    const std::shared_ptr<SharedBlock> block = machine.sharedMemory.find(name);
    if (block == nullptr) {
        return failNull(ERROR_FILE_NOT_FOUND);
    }
    return machine.handles.add(std::make_shared<MappingHandle>(block, access));
}

LPVOID WINAPI MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow,
                            SIZE_T size) {
    Call call("MapViewOfFile");
    if (call.fails()) {
        return failNull(call.status(ERROR_ACCESS_DENIED));
    }
    Machine& machine = Machine::current();
    const auto open = machine.handles.find<MappingHandle>(mapping);
    if (open == nullptr) {
        return failNull(ERROR_INVALID_HANDLE);
    }
    // FILE_MAP_ALL_ACCESS asks for writing; execution and the rights beyond are none of a view's.
    const DWORD wanted = access & (FILE_MAP_READ | FILE_MAP_WRITE);
    if ((open->access & wanted) != wanted || wanted == 0) {
        return failNull(ERROR_ACCESS_DENIED);
    }
    if (offsetHigh != 0 || offsetLow != 0) {
        return failNull(ERROR_NOT_SUPPORTED);  // views of a part are not simulated
    }
    constexpr std::size_t kPage = 4096;
    const std::size_t pages = (open->block->bytes.size() + kPage - 1) / kPage;
    if (size > pages * kPage) {
        return failNull(ERROR_ACCESS_DENIED);
    }
    void* const address = open->block->bytes.data();
    machine.sharedMemory.views()[address].push_back(
        machine.handles.add(std::make_shared<ViewHandle>(open->block)));
    return address;
}

BOOL WINAPI FlushViewOfFile(LPCVOID address, SIZE_T) {
    Call call("FlushViewOfFile");
    if (call.fails()) {
        return failWith(call.status(ERROR_INVALID_ADDRESS));
    }
    Machine& machine = Machine::current();
    const auto found = machine.sharedMemory.views().find(address);
    if (found == machine.sharedMemory.views().end()) {
        return failWith(ERROR_INVALID_ADDRESS);
    }
    const auto view = machine.handles.find<ViewHandle>(found->second.back());
    machine.sharedMemory.flushed(*view->block);
    return TRUE;
}

BOOL WINAPI UnmapViewOfFile(LPCVOID address) {
    Call call("UnmapViewOfFile");
    if (call.fails()) {
        return failWith(call.status(ERROR_INVALID_ADDRESS));
    }
    Machine& machine = Machine::current();
    auto& views = machine.sharedMemory.views();
    const auto found = views.find(address);
    if (found == views.end()) {
        return failWith(ERROR_INVALID_ADDRESS);
    }
    machine.handles.close(found->second.back());
    found->second.pop_back();
    if (found->second.empty()) {
        views.erase(found);
    }
    return TRUE;
}

}  // extern "C"
