// Loading libraries, finding what is in them, and messages.
#include <windows.h>

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

class ModuleReference : public HandleObject {
public:
    explicit ModuleReference(std::string loaded) : path(std::move(loaded)) {}
    std::string description() const override { return "module " + path; }
    bool isOfKernel() const override { return false; }

    std::string path;
};

Modules& modules() {
    return Machine::current().modules;
}

HMODULE failNull(DWORD status) {
    SetLastError(status);
    return nullptr;
}

/// The library that a path names: a bare file name, or one of the system's own directory.
Module* findLibrary(std::u16string_view path) {
    const Facts& facts = Machine::current().facts;
    const std::size_t separator = path.find_last_of(u"\\/");
    if (separator != std::u16string_view::npos) {
        const std::u16string_view directory = path.substr(0, separator);
        const bool isSystem =
            sameText(directory, facts.systemDirectory) ||
            (facts.is64BitSystem && sameText(directory, facts.wow64Directory)) ||
            (facts.isWow64() && sameText(directory, facts.windowsDirectory + u"\\Sysnative"));
        if (!isSystem) {
            return nullptr;
        }
        path.remove_prefix(separator + 1);
    }
    Module* const module = modules().find(path);
    return module == nullptr || module->hidden ? nullptr : module;
}

void addReference(Module& module, bool asData) {
    Machine& machine = Machine::current();
    const std::string path = toUtf8(machine.modules.path(module, machine.facts));
    auto& references = asData ? module.dataReferences : module.references;
    references.push_back(machine.handles.add(std::make_shared<ModuleReference>(path)));
}

HMODULE loadLibrary(LPCWSTR path, bool asData) {
    Module* const module = findLibrary(argument(path));
    if (module == nullptr) {
        return failNull(ERROR_MOD_NOT_FOUND);
    }
    addReference(*module, asData);
    return Modules::handleOf(*module, asData);
}

/// The simulated machine's own image, which holds every function of Windows.
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

/// The module that holds an address: for a function of Windows the library that exports it, for
/// anything else the product's.
Module* moduleAt(const void* address) {
    Dl_info info = {};
    if (dladdr(address, &info) == 0) {
        return nullptr;
    }
    if (info.dli_fbase != ownImage().base) {
        return &modules().product();
    }
    const bool isStart = info.dli_sname != nullptr && info.dli_saddr == address;
    return &modules().ownerOf(isStart ? info.dli_sname : "GetProcAddress");
}

Module* loadedModule(LPCWSTR nameOrPath) {
    if (nameOrPath == nullptr) {
        return &modules().program();
    }
    const Machine& machine = Machine::current();
    for (Module* const module : {&modules().program(), &modules().product()}) {
        const std::u16string path = modules().path(*module, machine.facts);
        const std::u16string base = path.substr(path.find_last_of(u'\\') + 1);
        if (sameText(path, nameOrPath) || sameText(base, nameOrPath)) {
            return module;
        }
    }
    Module* const module = findLibrary(nameOrPath);
    return module != nullptr && module->isLoaded() ? module : nullptr;
}

/// A block of sixteen counted strings, as a module's string table holds them.
const std::vector<char16_t>* stringBlock(Module& module, std::uint16_t number) {
    const auto made = module.blocks.find(number);
    if (made != module.blocks.end()) {
        return &made->second;
    }
    const std::uint32_t first = (number - 1u) * 16;
    const auto start = module.strings.lower_bound(first);
    if (start == module.strings.end() || start->first >= first + 16) {
        return nullptr;
    }
    std::vector<char16_t> block;
    for (std::uint32_t id = first; id < first + 16; ++id) {
        const auto found = module.strings.find(id);
        const std::u16string text = found == module.strings.end() ? u"" : found->second;
        block.push_back(static_cast<char16_t>(text.size()));
        block.insert(block.end(), text.begin(), text.end());
    }
    return &module.blocks.emplace(number, std::move(block)).first->second;
}

const std::vector<char16_t>& blockOf(HRSRC resource) {
    return *reinterpret_cast<const std::vector<char16_t>*>(resource);
}

/// The text for a status, or the status of the failure.
const std::u16string* findMessage(DWORD flags, LPCVOID source, DWORD id, DWORD& status) {
    if ((flags & FORMAT_MESSAGE_FROM_HMODULE) != 0) {
        Module* const module =
            modules().fromHandle(static_cast<HMODULE>(const_cast<void*>(source)));
        if (module == nullptr) {
            status = ERROR_RESOURCE_DATA_NOT_FOUND;
            return nullptr;
        }
        const auto found = module->messages.find(id);
        if (found != module->messages.end()) {
            return &found->second;
        }
        status = module->messages.empty() ? ERROR_RESOURCE_TYPE_NOT_FOUND : ERROR_MR_MID_NOT_FOUND;
    }
    if ((flags & FORMAT_MESSAGE_FROM_SYSTEM) != 0) {
        status = ERROR_MR_MID_NOT_FOUND;
        return modules().systemMessage(id);
    }
    return nullptr;
}

}  // namespace

extern "C" {

HMODULE WINAPI LoadLibraryW(LPCWSTR path) {
    Call call("LoadLibraryW");
    if (call.fails()) {
        return failNull(call.status(ERROR_MOD_NOT_FOUND));
    }
    return loadLibrary(path, false);
}

HMODULE WINAPI LoadLibraryExW(LPCWSTR path, HANDLE reserved, DWORD flags) {
    Call call("LoadLibraryExW");
    if (call.fails()) {
        return failNull(call.status(ERROR_MOD_NOT_FOUND));
    }
    if (reserved != nullptr || (flags & ~LOAD_LIBRARY_AS_DATAFILE) != 0) {
        return failNull(ERROR_INVALID_PARAMETER);
    }
    return loadLibrary(path, flags != 0);
}

BOOL WINAPI FreeLibrary(HMODULE handle) {
    Call call("FreeLibrary");
    if (call.fails()) {
        return failWith(call.status(ERROR_MOD_NOT_FOUND));
    }
    Module* const module = modules().fromHandle(handle);
    if (module == nullptr) {
        return failWith(ERROR_MOD_NOT_FOUND);
    }
    auto& references = Modules::isDataHandle(handle) ? module->dataReferences : module->references;
    if (references.empty()) {
        return failWith(ERROR_MOD_NOT_FOUND);  // never loaded by this process
    }
    Machine::current().handles.close(references.back());
    references.pop_back();
    return TRUE;
}

HMODULE WINAPI GetModuleHandleW(LPCWSTR name) {
    Call call("GetModuleHandleW");
    if (call.fails()) {
        return failNull(call.status(ERROR_MOD_NOT_FOUND));
    }
    const Module* const module = loadedModule(name);
    return module == nullptr ? failNull(ERROR_MOD_NOT_FOUND) : Modules::handleOf(*module);
}

BOOL WINAPI GetModuleHandleExW(DWORD flags, LPCWSTR nameOrAddress, HMODULE* handle) {
    Call call("GetModuleHandleExW");
    if (handle != nullptr) {
        *handle = nullptr;
    }
    if (call.fails()) {
        return failWith(call.status(ERROR_MOD_NOT_FOUND));
    }
    if (handle == nullptr) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    const bool byAddress = (flags & GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS) != 0;
    Module* const module = byAddress ? moduleAt(nameOrAddress) : loadedModule(nameOrAddress);
    if (module == nullptr) {
        return failWith(ERROR_MOD_NOT_FOUND);
    }
    if ((flags & GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT) == 0) {
        addReference(*module, false);
    }
    *handle = Modules::handleOf(*module);
    return TRUE;
}

DWORD WINAPI GetModuleFileNameW(HMODULE handle, LPWSTR buffer, DWORD size) {
    Call call("GetModuleFileNameW");
    if (call.fails()) {
        return static_cast<DWORD>(failWith(call.status(ERROR_MOD_NOT_FOUND)));
    }
    const Module* const module = modules().fromHandle(handle);
    if (module == nullptr) {
        return static_cast<DWORD>(failWith(ERROR_MOD_NOT_FOUND));
    }
    const std::u16string path = modules().path(*module, Machine::current().facts);
    if (path.size() < size) {
        SetLastError(ERROR_SUCCESS);
        return copyOut(path, buffer, size);
    }
    if (size > 0) {
        path.copy(buffer, size - 1);
        buffer[size - 1] = u'\0';
    }
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return size;
}

FARPROC WINAPI GetProcAddress(HMODULE handle, LPCSTR name) {
    Call call("GetProcAddress");
    const auto fail = [](DWORD status) {
        SetLastError(status);
        return static_cast<FARPROC>(nullptr);
    };
    if (call.fails()) {
        return fail(call.status(ERROR_PROC_NOT_FOUND));
    }
    const Module* const module = modules().fromHandle(handle);
    if (module == nullptr || Modules::isDataHandle(handle)) {
        return fail(ERROR_MOD_NOT_FOUND);
    }
    if (IS_INTRESOURCE(name) || module->hiddenFunctions.count(name) != 0 ||
        module != &modules().ownerOf(name)) {
        return fail(ERROR_PROC_NOT_FOUND);
    }
    void* const address = dlsym(ownImage().handle, name);
    Dl_info info = {};
    if (address == nullptr || dladdr(address, &info) == 0 || info.dli_fbase != ownImage().base) {
        return fail(ERROR_PROC_NOT_FOUND);
    }
    return reinterpret_cast<FARPROC>(address);
}

HRSRC WINAPI FindResourceW(HMODULE handle, LPCWSTR name, LPCWSTR type) {
    Call call("FindResourceW");
    const auto fail = [](DWORD status) {
        SetLastError(status);
        return static_cast<HRSRC>(nullptr);
    };
    if (call.fails()) {
        return fail(call.status(ERROR_RESOURCE_NAME_NOT_FOUND));
    }
    Module* const module = modules().fromHandle(handle);
    if (module == nullptr || (module->strings.empty() && module->messages.empty())) {
        return fail(ERROR_RESOURCE_DATA_NOT_FOUND);
    }
    if (type != RT_STRING || module->strings.empty()) {
        return fail(ERROR_RESOURCE_TYPE_NOT_FOUND);
    }
    const std::vector<char16_t>* const block =
        IS_INTRESOURCE(name) ? stringBlock(*module, LOWORD(reinterpret_cast<ULONG_PTR>(name)))
                             : nullptr;
    if (block == nullptr) {
        return fail(ERROR_RESOURCE_NAME_NOT_FOUND);
    }
    return reinterpret_cast<HRSRC>(const_cast<std::vector<char16_t>*>(block));
}

HGLOBAL WINAPI LoadResource(HMODULE, HRSRC resource) {
    Call call("LoadResource");
    if (call.fails() || resource == nullptr) {
        SetLastError(call.status(ERROR_RESOURCE_DATA_NOT_FOUND));
        return nullptr;
    }
    return const_cast<char16_t*>(blockOf(resource).data());
}

LPVOID WINAPI LockResource(HGLOBAL data) {
    Call call("LockResource");
    if (call.fails()) {
        SetLastError(call.status(ERROR_RESOURCE_DATA_NOT_FOUND));
        return nullptr;
    }
    return data;
}

DWORD WINAPI SizeofResource(HMODULE, HRSRC resource) {
    Call call("SizeofResource");
    if (call.fails() || resource == nullptr) {
        return static_cast<DWORD>(failWith(call.status(ERROR_RESOURCE_DATA_NOT_FOUND)));
    }
    return static_cast<DWORD>(blockOf(resource).size() * sizeof(char16_t));
}

DWORD WINAPI FormatMessageW(DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId,
                            LPWSTR buffer, DWORD size, std::va_list*) {
    Call call("FormatMessageW");
    const bool allocates = (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0;
    if (allocates && buffer != nullptr) {
        *reinterpret_cast<LPWSTR*>(buffer) = nullptr;
    }
    if (call.fails()) {
        return static_cast<DWORD>(failWith(call.status(ERROR_MR_MID_NOT_FOUND)));
    }
    // Inserts and line breaks by width are not simulated: a caller has to take the text as it is.
    if (buffer == nullptr || (flags & FORMAT_MESSAGE_IGNORE_INSERTS) == 0 ||
        (flags & FORMAT_MESSAGE_MAX_WIDTH_MASK) != 0) {
        return static_cast<DWORD>(failWith(ERROR_INVALID_PARAMETER));
    }
    constexpr DWORD kEnglish = 0x0409;
    if (languageId != 0 && languageId != kEnglish) {
        return static_cast<DWORD>(failWith(ERROR_RESOURCE_LANG_NOT_FOUND));
    }
    DWORD status = ERROR_INVALID_PARAMETER;
    const std::u16string* const text = findMessage(flags, source, messageId, status);
    if (text == nullptr) {
        return static_cast<DWORD>(failWith(status));
    }
    if (allocates) {
        const DWORD room = std::max(size, static_cast<DWORD>(text->size() + 1));
        auto* const allocated = static_cast<LPWSTR>(std::calloc(room, sizeof(WCHAR)));
        *reinterpret_cast<LPWSTR*>(buffer) = allocated;
        return copyOut(*text, allocated, room);
    }
    if (size <= text->size()) {
        return static_cast<DWORD>(failWith(ERROR_INSUFFICIENT_BUFFER));
    }
    return copyOut(*text, buffer, size);
}

}  // extern "C"
