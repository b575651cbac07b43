// Loading libraries, finding what is in them, and messages.
#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "simulated/machine/process/Image.h"
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

/// Returns the module of a handle; refuses with this status if there is none.
Module& moduleOf(HMODULE handle, DWORD status = ERROR_MOD_NOT_FOUND) {
    Module* const module = modules().fromHandle(handle);
    demand(module != nullptr, status);
    return *module;
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
    demand(module != nullptr, ERROR_MOD_NOT_FOUND);
    addReference(*module, asData);
    return Modules::handleOf(*module, asData);
}

/// The module that holds an address: for a function of Windows the library that exports it, for
/// other data of the machine kernel32.dll.
Module* moduleAt(const void* address) {
    const std::optional<AddressOwner> owner = ownerOfAddress(address);
    if (!owner) {
        return nullptr;
    }
    if (owner->isProduct) {
        return &modules().product();
    }
    return &modules().ownerOf(owner->function.empty() ? "GetProcAddress" : owner->function);
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

/// A block of sixteen counted strings of a module's string table.
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

/// The text for a status: of a module's own table, else of the system's.
const std::u16string& findMessage(DWORD flags, LPCVOID source, DWORD id) {
    if ((flags & FORMAT_MESSAGE_FROM_HMODULE) != 0) {
        const Module& module = moduleOf(static_cast<HMODULE>(const_cast<void*>(source)),
                                        ERROR_RESOURCE_DATA_NOT_FOUND);
        if (const auto found = module.messages.find(id); found != module.messages.end()) {
            return found->second;
        }
    }
    const std::u16string* const text = modules().systemMessage(id);
    demand(text != nullptr, ERROR_MR_MID_NOT_FOUND);
    return *text;
}

}  // namespace

extern "C" {

HMODULE WINAPI LoadLibraryW(LPCWSTR path) {
    return call("LoadLibraryW", ERROR_MOD_NOT_FOUND, [&] { return loadLibrary(path, false); });
}

HMODULE WINAPI LoadLibraryExW(LPCWSTR path, HANDLE, DWORD flags) {
    return call("LoadLibraryExW", ERROR_MOD_NOT_FOUND, [&] {
        if (flags != LOAD_LIBRARY_AS_DATAFILE) {
            notSupported("LoadLibraryExW", "the flags " + std::to_string(flags));
        }
        return loadLibrary(path, true);
    });
}

BOOL WINAPI FreeLibrary(HMODULE handle) {
    return call("FreeLibrary", ERROR_MOD_NOT_FOUND, [&] {
        Module& module = moduleOf(handle);
        auto& references =
            Modules::isDataHandle(handle) ? module.dataReferences : module.references;
        demand(!references.empty(), ERROR_MOD_NOT_FOUND);  // never loaded by this process
        Machine::current().handles.close(references.back());
        references.pop_back();
    });
}

BOOL WINAPI GetModuleHandleExW(DWORD flags, LPCWSTR nameOrAddress, HMODULE* handle) {
    constexpr DWORD kSupported =
        GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS;
    constexpr DWORD kPin = 1;
    return call("GetModuleHandleExW", ERROR_MOD_NOT_FOUND, [&] {
        demand(handle != nullptr, ERROR_INVALID_PARAMETER);
        *handle = nullptr;
        if (flags == kPin || flags == (kPin | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS)) {
            notSupported("GetModuleHandleExW", "modules that stay loaded");
        }
        demand((flags & ~kSupported) == 0, ERROR_INVALID_PARAMETER);
        const bool byAddress = (flags & GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS) != 0;
        Module* const module = byAddress ? moduleAt(nameOrAddress) : loadedModule(nameOrAddress);
        demand(module != nullptr, ERROR_MOD_NOT_FOUND);
        if ((flags & GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT) == 0) {
            addReference(*module, false);
        }
        *handle = Modules::handleOf(*module);
    });
}

DWORD WINAPI GetModuleFileNameW(HMODULE handle, LPWSTR buffer, DWORD size) {
    return call("GetModuleFileNameW", ERROR_MOD_NOT_FOUND, [&] {
        const std::u16string path = modules().path(moduleOf(handle), Machine::current().facts);
        if (path.size() < size) {
            return copyOut(path, buffer, size);
        }
        if (size > 0) {
            requireNonNull("GetModuleFileNameW", buffer);
            path.copy(buffer, size - 1);
            buffer[size - 1] = u'\0';
        }
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return size;
    });
}

FARPROC WINAPI GetProcAddress(HMODULE handle, LPCSTR name) {
    return call("GetProcAddress", ERROR_PROC_NOT_FOUND, [&] {
        requireNonNull("GetProcAddress", name);
        const Module& module = moduleOf(handle);
        demand(!Modules::isDataHandle(handle), ERROR_MOD_NOT_FOUND);
        demand(!module.hiddenFunctions.contains(name) && &module == &modules().ownerOf(name),
               ERROR_PROC_NOT_FOUND);
        void* const address = windowsFunction(name);
        demand(address != nullptr, ERROR_PROC_NOT_FOUND);
        return reinterpret_cast<FARPROC>(address);
    });
}

HRSRC WINAPI FindResourceW(HMODULE handle, LPCWSTR name, LPCWSTR type) {
    return call("FindResourceW", ERROR_RESOURCE_NAME_NOT_FOUND, [&] {
        Module& module = moduleOf(handle, ERROR_RESOURCE_DATA_NOT_FOUND);
        demand(!module.strings.empty() || !module.messages.empty(), ERROR_RESOURCE_DATA_NOT_FOUND);
        demand(type == RT_STRING && !module.strings.empty(), ERROR_RESOURCE_TYPE_NOT_FOUND);
        const std::vector<char16_t>* const block =
            stringBlock(module, LOWORD(reinterpret_cast<ULONG_PTR>(name)));
        demand(block != nullptr, ERROR_RESOURCE_NAME_NOT_FOUND);
        return reinterpret_cast<HRSRC>(const_cast<std::vector<char16_t>*>(block));
    });
}

HGLOBAL WINAPI LoadResource(HMODULE, HRSRC resource) {
    return call("LoadResource", ERROR_RESOURCE_DATA_NOT_FOUND, HGLOBAL(), [&]() -> HGLOBAL {
        demand(resource != nullptr, ERROR_RESOURCE_DATA_NOT_FOUND);
        return const_cast<char16_t*>(blockOf(resource).data());
    });
}

LPVOID WINAPI LockResource(HGLOBAL data) {
    return call("LockResource", ERROR_RESOURCE_DATA_NOT_FOUND, [&] { return data; });
}

DWORD WINAPI SizeofResource(HMODULE, HRSRC resource) {
    return call("SizeofResource", ERROR_RESOURCE_DATA_NOT_FOUND, [&] {
        demand(resource != nullptr, ERROR_RESOURCE_DATA_NOT_FOUND);
        return static_cast<DWORD>(blockOf(resource).size() * sizeof(char16_t));
    });
}

DWORD WINAPI FormatMessageW(DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId,
                            LPWSTR buffer, DWORD size, std::va_list*) {
    return call("FormatMessageW", ERROR_MR_MID_NOT_FOUND, [&] {
        constexpr DWORD kSupported = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS;
        if ((flags & kSupported) != kSupported || languageId != 0 || size != 0 ||
            (flags & FORMAT_MESSAGE_FROM_SYSTEM) == 0) {
            notSupported("FormatMessageW", "the flags " + std::to_string(flags));
        }
        required("FormatMessageW", reinterpret_cast<LPWSTR*>(buffer)) = nullptr;
        const std::u16string& text = findMessage(flags, source, messageId);
        const auto room = static_cast<DWORD>(text.size() + 1);
        auto* const allocated = static_cast<LPWSTR>(std::calloc(room, sizeof(WCHAR)));
        demand(allocated != nullptr, ERROR_NOT_ENOUGH_MEMORY);
        *reinterpret_cast<LPWSTR*>(buffer) = allocated;
        return copyOut(text, allocated, room);
    });
}

}  // extern "C"
