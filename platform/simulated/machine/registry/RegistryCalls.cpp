#include <windows.h>
#include <shlwapi.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

constexpr REGSAM kViewFlags = KEY_WOW64_32KEY | KEY_WOW64_64KEY;
constexpr DWORD kWriting = KEY_SET_VALUE | KEY_CREATE_SUB_KEY | DELETE;
constexpr DWORD kReading = KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS | KEY_NOTIFY;
constexpr DWORD kTreeRights = KEY_ENUMERATE_SUB_KEYS | KEY_QUERY_VALUE | KEY_SET_VALUE;
constexpr std::size_t kMaxNameLength = 255;

/// An open key, with the rights that it was opened with.
class OpenKey : public HandleObject {
public:
    OpenKey(std::shared_ptr<RegistryKey> opened, DWORD rights, bool of64BitView)
        : key(std::move(opened)), access(rights), is64BitView(of64BitView) {}

    std::string description() const override { return "key " + toUtf8(key->path()); }

    std::shared_ptr<RegistryKey> key;
    DWORD access;
    bool is64BitView;  ///< by a 32-bit process, for which the keys below are in that view too
};

/// Returns the path of a predefined key, or null for any other handle.
const char16_t* predefinedName(HKEY key) {
    if (key == HKEY_CLASSES_ROOT) {
        notSupported("registry",
                     "HKEY_CLASSES_ROOT, where Windows merges the keys of user and machine");
    }
    if (key == HKEY_CURRENT_USER) {
        return Machine::current().security.isLocalSystem() ? u"HKU\\.DEFAULT" : u"HKCU";
    }
    return key == HKEY_LOCAL_MACHINE ? u"HKLM" : nullptr;
}

/// The key of a handle, and the keys below it in the view of a call.
class Place {
public:
    explicit Place(HKEY handle, REGSAM flags = 0) : registry_(Machine::current().registry) {
        const Machine& machine = Machine::current();
        bool is64BitView = false;
        if (const char16_t* const name = predefinedName(handle)) {
            path_ = name;
            key_ = registry_.find(View::Bits64, path_);
        } else {
            const auto open = machine.handles.find<OpenKey>(handle);
            demand(open != nullptr, ERROR_INVALID_HANDLE);
            key_ = open->key;
            access_ = open->access;
            path_ = key_->path();
            is64BitView = open->is64BitView;
        }
        demand((flags & kViewFlags) != kViewFlags, ERROR_INVALID_PARAMETER);
        demand(!key_->deleted, ERROR_KEY_DELETED);
        if ((flags & kViewFlags) != 0) {
            view_ = (flags & KEY_WOW64_32KEY) != 0 ? View::Bits32 : View::Bits64;
        } else if (!machine.facts.is64BitProcess && !is64BitView) {
            view_ = View::Bits32;
        }
    }

    /// Refuses a call that needs other rights than the handle has.
    void require(DWORD access) const {
        demand((access_ & access) == access, ERROR_ACCESS_DENIED);
        demand((access & kWriting) == 0 || !key_->deniesWrite(), ERROR_ACCESS_DENIED);
    }

    RegistryKey& key() const { return *key_; }
    /// Returns the key below this one, or this one for an empty path; null if there is none.
    std::shared_ptr<RegistryKey> find(std::u16string_view subkey) const {
        return subkey.empty() ? key_ : registry_.find(view_, below(subkey));
    }
    std::shared_ptr<RegistryKey> existing(std::u16string_view subkey) const {
        std::shared_ptr<RegistryKey> found = find(subkey);
        demand(found != nullptr, ERROR_FILE_NOT_FOUND);
        return found;
    }
    std::shared_ptr<RegistryKey> findDeepest(std::u16string_view subkey) const {
        return registry_.findDeepest(view_, below(subkey));
    }
    std::shared_ptr<RegistryKey> make(std::u16string_view subkey) const {
        return subkey.empty() ? key_ : registry_.make(view_, below(subkey));
    }

private:
    std::u16string below(std::u16string_view subkey) const {
        return path_ + u'\\' + std::u16string(subkey);
    }

    RegistryStore& registry_;
    std::shared_ptr<RegistryKey> key_;
    std::u16string path_;
    DWORD access_ = KEY_ALL_ACCESS;
    View view_ = View::Bits64;
};

/// Returns the path below a handle's key; refuses one that starts with a separator.
std::u16string_view pathBelow(LPCWSTR subkey) {
    const std::u16string_view path = argument(subkey);
    demand(!path.starts_with(u'\\'), ERROR_BAD_PATHNAME);
    return path;
}

/// Whether the process may write to a key: depends on the token for all but the user's own keys.
bool isWritable(const RegistryKey& key) {
    const bool isOwn = key.path().starts_with(u"HKCU");
    return !key.deniesWrite() && (isOwn || Machine::current().security.administers());
}

void demandWritable(const RegistryKey& key) {
    demand(isWritable(key), ERROR_ACCESS_DENIED);
}

/// Returns the access rights in a mask.
DWORD wantedRights(REGSAM access) {
    const DWORD rights = access & ~kViewFlags;
    if ((rights & ~DWORD{KEY_ALL_ACCESS}) != 0) {
        notSupported("RegOpenKeyExW", "the access " + std::to_string(rights));
    }
    demand(rights != 0, ERROR_ACCESS_DENIED);
    return rights;
}

HKEY openKey(const std::shared_ptr<RegistryKey>& key, REGSAM access) {
    const DWORD rights = wantedRights(access);
    demand((rights & kWriting) == 0 || isWritable(*key), ERROR_ACCESS_DENIED);
    demand((rights & kReading) == 0 || !key->deniesRead(), ERROR_ACCESS_DENIED);
    Machine& machine = Machine::current();
    return static_cast<HKEY>(machine.handles.add(std::make_shared<OpenKey>(
        key, rights, !machine.facts.is64BitProcess && (access & KEY_WOW64_64KEY) != 0)));
}

/// Deletes one key without subkeys.
void deleteKey(HKEY key, LPCWSTR subkey, REGSAM flags) {
    demand(subkey != nullptr, ERROR_INVALID_PARAMETER);
    const Place place(key, flags);
    const std::shared_ptr<RegistryKey> found = place.existing(pathBelow(subkey));
    demandWritable(*found);
    demand(found->parent != nullptr && found->subkeys.empty(), ERROR_ACCESS_DENIED);
    found->remove();
}

/// Deletes what is below a key; stops at the first key that can't be written to.
void emptyTree(RegistryKey& key) {
    demandWritable(key);
    while (!key.subkeys.empty()) {
        const std::shared_ptr<RegistryKey> last = std::prev(key.subkeys.end())->second;
        emptyTree(*last);
        last->remove();
    }
    key.deleteValues();
}

/// Deletes a tree; without a subkey the key itself stays, empty, and its handle needs `rights`.
void deleteTree(HKEY key, std::u16string_view subkey, DWORD rights) {
    const Place place(key);
    const std::shared_ptr<RegistryKey> found = place.existing(subkey);
    if (subkey.empty()) {
        place.require(rights);
    }
    emptyTree(*found);
    if (!subkey.empty()) {
        found->remove();
    }
}

bool isString(DWORD type) {
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

/// Copies a value out; a string without a terminator gets one where the buffer has space.
void copyValue(const RegistryValue& value, LPDWORD type, BYTE* data, LPDWORD size) {
    if (type != nullptr) {
        *type = value.type;
    }
    if (size == nullptr) {
        return;
    }
    const DWORD room = data == nullptr ? 0 : *size;
    const auto length = static_cast<DWORD>(value.data.size());
    *size = length;
    if (data == nullptr) {
        return;
    }
    demand(room >= length, ERROR_MORE_DATA);
    std::copy(value.data.begin(), value.data.end(), data);
    if (isString(value.type) && room - length >= sizeof(WCHAR)) {
        std::memset(data + length, 0, sizeof(WCHAR));
    }
}

WCHAR unitAt(const BYTE* data, DWORD offset) {
    WCHAR unit = u'\0';
    std::memcpy(&unit, data + offset, sizeof(unit));
    return unit;
}

/// Returns the size of a string with the terminator that follows it in memory, which Windows stores
/// also when the caller hasn't counted it.
DWORD sizeWithTerminator(DWORD type, const BYTE* data, DWORD size) {
    constexpr DWORD kUnit = sizeof(WCHAR);
    if (!isString(type) || size == 0 || size % kUnit != 0 || unitAt(data, size - kUnit) == u'\0') {
        return size;
    }
    return unitAt(data, size) == u'\0' ? size + kUnit : size;
}

/// Copies a name out; `size` counts characters, on entry with the NUL and on return without it.
void copyName(std::u16string_view name, LPWSTR buffer, DWORD* size) {
    demand(*size > name.size(), ERROR_MORE_DATA);
    *size = copyOut(name, buffer, *size);
}

}  // namespace

extern "C" {

LSTATUS WINAPI RegOpenKeyExW(HKEY key, LPCWSTR subkey, DWORD, REGSAM access, PHKEY opened) {
    HKEY result = nullptr;
    const LSTATUS status = statusCall("RegOpenKeyExW", ERROR_ACCESS_DENIED, [&] {
        demand(opened != nullptr, ERROR_INVALID_PARAMETER);
        const Place place(key, access);
        const std::u16string_view path = pathBelow(subkey);
        if (path.empty() && predefinedName(key) != nullptr && (access & kViewFlags) == 0) {
            result = key;
            return;
        }
        result = openKey(place.existing(path), access);
    });
    if (opened != nullptr) {
        *opened = result;
    }
    return status;
}

LSTATUS WINAPI RegCreateKeyExW(HKEY key, LPCWSTR subkey, DWORD reserved, LPWSTR, DWORD options,
                               REGSAM access, const LPSECURITY_ATTRIBUTES, PHKEY opened,
                               LPDWORD disposition) {
    return statusCall("RegCreateKeyExW", ERROR_ACCESS_DENIED, [&] {
        demand(reserved == 0 && opened != nullptr && subkey != nullptr, ERROR_INVALID_PARAMETER);
        if (options != REG_OPTION_NON_VOLATILE) {
            notSupported("RegCreateKeyExW", "options " + std::to_string(options));
        }
        const Place place(key, access);
        const std::u16string_view path = pathBelow(subkey);
        std::shared_ptr<RegistryKey> found = place.find(path);
        const bool isNew = found == nullptr;
        if (isNew) {
            const auto names = components(path);
            demand(std::all_of(names.begin(), names.end(),
                               [](const auto& name) { return name.size() <= kMaxNameLength; }),
                   ERROR_INVALID_PARAMETER);
            wantedRights(access);
            demandWritable(*place.findDeepest(path));
            found = place.make(path);
        }
        *opened = openKey(found, access);
        if (disposition != nullptr) {
            *disposition = isNew ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
        }
    });
}

LSTATUS WINAPI RegCloseKey(HKEY key) {
    return statusCall("RegCloseKey", ERROR_INVALID_HANDLE, [&] {
        Handles& handles = Machine::current().handles;
        demand(predefinedName(key) != nullptr ||
                   (handles.find<OpenKey>(key) != nullptr && handles.close(key)),
               ERROR_INVALID_HANDLE);
    });
}

LSTATUS WINAPI RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                                LPDWORD size) {
    return statusCall("RegQueryValueExW", ERROR_ACCESS_DENIED, [&] {
        demand(reserved == nullptr && (data == nullptr || size != nullptr),
               ERROR_INVALID_PARAMETER);
        const Place place(key);
        place.require(KEY_QUERY_VALUE);
        const RegistryValue* const value = place.key().findValue(argument(name));
        demand(value != nullptr, ERROR_FILE_NOT_FOUND);
        copyValue(*value, type, data, size);
    });
}

LSTATUS WINAPI RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                              DWORD size) {
    return statusCall("RegSetValueExW", ERROR_ACCESS_DENIED, [&] {
        demand(reserved == 0, ERROR_INVALID_PARAMETER);
        demand(data != nullptr || size == 0, ERROR_NOACCESS);
        const Place place(key);
        place.require(KEY_SET_VALUE);
        place.key().setValue(
            argument(name), type,
            std::vector<std::uint8_t>(data, data + sizeWithTerminator(type, data, size)));
    });
}

LSTATUS WINAPI RegDeleteValueW(HKEY key, LPCWSTR name) {
    return statusCall("RegDeleteValueW", ERROR_ACCESS_DENIED, [&] {
        const Place place(key);
        place.require(KEY_SET_VALUE);
        demand(place.key().deleteValue(argument(name)), ERROR_FILE_NOT_FOUND);
    });
}

LSTATUS WINAPI RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameSize, LPDWORD reserved,
                             LPWSTR className, LPDWORD classSize, FILETIME* lastWrite) {
    return statusCall("RegEnumKeyExW", ERROR_ACCESS_DENIED, [&] {
        demand(name != nullptr && nameSize != nullptr && reserved == nullptr,
               ERROR_INVALID_PARAMETER);
        if (className != nullptr || classSize != nullptr || lastWrite != nullptr) {
            notSupported("RegEnumKeyExW", "a key's class and time");
        }
        const Place place(key);
        place.require(KEY_ENUMERATE_SUB_KEYS);
        const std::u16string* const subkey = place.key().nameOfSubkey(index);
        demand(subkey != nullptr, ERROR_NO_MORE_ITEMS);
        copyName(*subkey, name, nameSize);
    });
}

LSTATUS WINAPI RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameSize, LPDWORD reserved,
                             LPDWORD type, LPBYTE data, LPDWORD size) {
    return statusCall("RegEnumValueW", ERROR_ACCESS_DENIED, [&] {
        demand(name != nullptr && nameSize != nullptr && reserved == nullptr &&
                   (data == nullptr || size != nullptr),
               ERROR_INVALID_PARAMETER);
        const Place place(key);
        place.require(KEY_QUERY_VALUE);
        const RegistryValue* const value = place.key().valueAt(index);
        demand(value != nullptr, ERROR_NO_MORE_ITEMS);
        if (*nameSize <= value->name.size()) {
            copyValue(*value, type, nullptr, size);
            refuse(ERROR_MORE_DATA);
        }
        copyName(value->name, name, nameSize);
        copyValue(*value, type, data, size);
    });
}

LSTATUS WINAPI RegDeleteKeyW(HKEY key, LPCWSTR subkey) {
    return statusCall("RegDeleteKeyW", ERROR_ACCESS_DENIED, [&] { deleteKey(key, subkey, 0); });
}

LSTATUS WINAPI RegDeleteKeyExW(HKEY key, LPCWSTR subkey, REGSAM view, DWORD reserved) {
    return statusCall("RegDeleteKeyExW", ERROR_ACCESS_DENIED, [&] {
        demand(reserved == 0, ERROR_INVALID_PARAMETER);
        deleteKey(key, subkey, view);
    });
}

LSTATUS WINAPI RegDeleteTreeW(HKEY key, LPCWSTR subkey) {
    return statusCall("RegDeleteTreeW", ERROR_ACCESS_DENIED,
                      [&] { deleteTree(key, pathBelow(subkey), kTreeRights | DELETE); });
}

LSTATUS WINAPI SHDeleteKeyW(HKEY key, LPCWSTR subkey) {
    return statusCall("SHDeleteKeyW", ERROR_ACCESS_DENIED,
                      [&] { deleteTree(key, pathBelow(subkey), kTreeRights); });
}

}  // extern "C"
