#include <windows.h>
#include <shlwapi.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

constexpr REGSAM kViewFlags = KEY_WOW64_32KEY | KEY_WOW64_64KEY;
constexpr DWORD kEverything = KEY_ALL_ACCESS;
constexpr DWORD kWriting =
    KEY_SET_VALUE | KEY_CREATE_SUB_KEY | KEY_CREATE_LINK | DELETE | WRITE_DAC | WRITE_OWNER;
constexpr DWORD kReading = KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS | KEY_NOTIFY;
constexpr std::size_t kLongestName = 255;

/// An open key: with the rights that it was opened with.
class OpenKey : public HandleObject {
public:
    OpenKey(std::shared_ptr<RegistryKey> opened, DWORD rights, bool of64BitView)
        : key(std::move(opened)), access(rights), is64BitView(of64BitView) {}

    std::string description() const override { return "key " + toUtf8(key->path()); }

    std::shared_ptr<RegistryKey> key;
    DWORD access;
    bool is64BitView;  ///< opened by a 32-bit process, which keeps to that view below it
};

const char16_t* predefinedName(HKEY key) {
    if (key == HKEY_CLASSES_ROOT) {
        return u"HKCR";
    }
    if (key == HKEY_CURRENT_USER) {
        return u"HKCU";
    }
    if (key == HKEY_LOCAL_MACHINE) {
        return u"HKLM";
    }
    return key == HKEY_USERS ? u"HKU" : nullptr;
}

/// A key as a call names it: a handle, and a path below it.
class Place {
public:
    explicit Place(HKEY handle, REGSAM flags = 0) : registry_(Machine::current().registry) {
        const Machine& machine = Machine::current();
        bool is64BitView = false;
        if (const char16_t* const name = predefinedName(handle)) {
            path_ = name;
            key_ = registry_.find(View::Bits64, path_, {});
        } else if (const auto open = machine.handles.find<OpenKey>(handle)) {
            key_ = open->key;
            access_ = open->access;
            path_ = key_->path();
            is64BitView = open->is64BitView;
        } else {
            status_ = ERROR_INVALID_HANDLE;
            return;
        }
        if ((flags & kViewFlags) == kViewFlags) {
            status_ = ERROR_INVALID_PARAMETER;
        } else if (key_->deleted) {
            status_ = ERROR_KEY_DELETED;
        }
        if ((flags & kViewFlags) != 0) {
            view_ = (flags & KEY_WOW64_32KEY) != 0 ? View::Bits32 : View::Bits64;
        } else if (!machine.facts.is64BitProcess && !is64BitView) {
            view_ = View::Bits32;
        }
    }

    /// 0, or what is wrong with the handle.
    LSTATUS status() const { return status_; }
    /// 0, or why the handle may not be used for something that needs all of these rights.
    LSTATUS require(DWORD access) const {
        if (status_ != ERROR_SUCCESS) {
            return status_;
        }
        return (access_ & access) == access ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
    }

    RegistryKey& key() const { return *key_; }
    View view() const { return view_; }
    /// The key below this one, or this one for an empty path; null if there is none.
    std::shared_ptr<RegistryKey> find(std::u16string_view subkey) const {
        return subkey.empty() ? key_ : registry_.find(view_, path_, subkey);
    }
    std::shared_ptr<RegistryKey> findDeepest(std::u16string_view subkey) const {
        return registry_.findDeepest(view_, path_, subkey);
    }
    std::shared_ptr<RegistryKey> make(std::u16string_view subkey) const {
        return subkey.empty() ? key_ : registry_.make(view_, path_, subkey);
    }

private:
    RegistryStore& registry_;
    LSTATUS status_ = ERROR_SUCCESS;
    std::shared_ptr<RegistryKey> key_;
    std::u16string path_;
    DWORD access_ = kEverything;
    View view_ = View::Bits64;
};

/// The rights that a mask asks for, with the generic ones written out.
DWORD wantedRights(REGSAM access) {
    DWORD rights = access & ~(kViewFlags | MAXIMUM_ALLOWED | GENERIC_ALL | GENERIC_EXECUTE |
                              GENERIC_READ | GENERIC_WRITE);
    rights |= (access & (GENERIC_READ | GENERIC_EXECUTE)) != 0 ? KEY_READ : 0;
    rights |= (access & GENERIC_WRITE) != 0 ? KEY_WRITE : 0;
    return rights | ((access & GENERIC_ALL) != 0 ? KEY_ALL_ACCESS : 0);
}

LSTATUS openKey(const std::shared_ptr<RegistryKey>& key, REGSAM access, HKEY* opened) {
    const DWORD denied = (key->deniesWrite() ? kWriting : 0) | (key->deniesRead() ? kReading : 0);
    DWORD rights = wantedRights(access);
    if ((access & MAXIMUM_ALLOWED) != 0) {
        rights |= kEverything & ~denied;
    }
    if (rights == 0 || (rights & denied) != 0) {
        return ERROR_ACCESS_DENIED;
    }
    Machine& machine = Machine::current();
    *opened = static_cast<HKEY>(machine.handles.add(std::make_shared<OpenKey>(
        key, rights, !machine.facts.is64BitProcess && (access & KEY_WOW64_64KEY) != 0)));
    return ERROR_SUCCESS;
}

/// Deletes one key without subkeys.
LSTATUS deleteKey(HKEY key, LPCWSTR subkey, REGSAM flags) {
    if (subkey == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const Place place(key, flags);
    if (place.status() != ERROR_SUCCESS) {
        return place.status();
    }
    const std::shared_ptr<RegistryKey> found = place.find(argument(subkey));
    if (found == nullptr) {
        return ERROR_FILE_NOT_FOUND;
    }
    if (found->parent == nullptr || found->deniesWrite() || !found->subkeys.empty()) {
        return ERROR_ACCESS_DENIED;
    }
    found->remove();
    return ERROR_SUCCESS;
}

/// Deletes what is below a key, and stops at the first key that is closed to writing.
LSTATUS emptyTree(RegistryKey& key) {
    if (key.deniesWrite()) {
        return ERROR_ACCESS_DENIED;
    }
    while (!key.subkeys.empty()) {
        const std::shared_ptr<RegistryKey> last = std::prev(key.subkeys.end())->second;
        if (const LSTATUS status = emptyTree(*last); status != ERROR_SUCCESS) {
            return status;
        }
        last->remove();
    }
    key.values.clear();
    return ERROR_SUCCESS;
}

/// Deletes a tree; without a subkey the key itself stays, empty.
LSTATUS deleteTree(HKEY key, std::u16string_view subkey) {
    const Place place(key);
    if (place.status() != ERROR_SUCCESS) {
        return place.status();
    }
    const std::shared_ptr<RegistryKey> found = place.find(subkey);
    if (found == nullptr) {
        return ERROR_FILE_NOT_FOUND;
    }
    constexpr DWORD kRights = DELETE | KEY_ENUMERATE_SUB_KEYS | KEY_QUERY_VALUE | KEY_SET_VALUE;
    if (subkey.empty() && place.require(kRights & ~DELETE) != ERROR_SUCCESS) {
        return ERROR_ACCESS_DENIED;
    }
    const LSTATUS status = emptyTree(*found);
    if (status == ERROR_SUCCESS && !subkey.empty()) {
        found->remove();
    }
    return status;
}

/// Hands a value's data out; a text that lacks its NUL gets one where there is room.
LSTATUS copyData(const RegistryValue& value, BYTE* data, DWORD* size) {
    if (size == nullptr) {
        return ERROR_SUCCESS;
    }
    const DWORD room = data == nullptr ? 0 : *size;
    const auto length = static_cast<DWORD>(value.data.size());
    *size = length;
    if (data == nullptr) {
        return ERROR_SUCCESS;
    }
    if (room < length) {
        return ERROR_MORE_DATA;
    }
    std::copy(value.data.begin(), value.data.end(), data);
    const bool isText =
        value.type == REG_SZ || value.type == REG_EXPAND_SZ || value.type == REG_MULTI_SZ;
    if (isText && room - length >= sizeof(WCHAR)) {
        std::memset(data + length, 0, sizeof(WCHAR));
    }
    return ERROR_SUCCESS;
}

/// Hands a name out; `size` counts characters, with the NUL on the way in and without it after.
LSTATUS copyName(std::u16string_view name, LPWSTR buffer, DWORD* size) {
    if (*size <= name.size()) {
        return ERROR_MORE_DATA;
    }
    *size = copyOut(name, buffer, *size);
    return ERROR_SUCCESS;
}

}  // namespace

extern "C" {

LSTATUS WINAPI RegOpenKeyExW(HKEY key, LPCWSTR subkey, DWORD, REGSAM access, PHKEY opened) {
    Call call("RegOpenKeyExW");
    if (call.fails()) {
        return static_cast<LSTATUS>(call.status(ERROR_ACCESS_DENIED));
    }
    if (opened == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const Place place(key, access);
    if (place.status() != ERROR_SUCCESS) {
        return place.status();
    }
    const std::u16string_view path = argument(subkey);
    if (path.empty() && predefinedName(key) != nullptr && (access & kViewFlags) == 0) {
        *opened = key;
        return ERROR_SUCCESS;
    }
    if (!path.empty() && path.front() == u'\\' && key != HKEY_CLASSES_ROOT) {
        return ERROR_BAD_PATHNAME;
    }
    const std::shared_ptr<RegistryKey> found = place.find(path);
    return found == nullptr ? ERROR_FILE_NOT_FOUND : openKey(found, access, opened);
}

LSTATUS WINAPI RegCreateKeyExW(HKEY key, LPCWSTR subkey, DWORD reserved, LPWSTR, DWORD,
                               REGSAM access, const LPSECURITY_ATTRIBUTES, PHKEY opened,
                               LPDWORD disposition) {
    Call call("RegCreateKeyExW");
    if (call.fails()) {
        return static_cast<LSTATUS>(call.status(ERROR_ACCESS_DENIED));
    }
    if (reserved != 0 || opened == nullptr || subkey == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const Place place(key, access);
    if (place.status() != ERROR_SUCCESS) {
        return place.status();
    }
    const std::u16string_view path = argument(subkey);
    if (!path.empty() && path.front() == u'\\' && key != HKEY_CLASSES_ROOT) {
        return ERROR_BAD_PATHNAME;
    }
    std::shared_ptr<RegistryKey> found = place.find(path);
    const bool isNew = found == nullptr;
    if (isNew) {
        const auto names = components(path);
        if (std::any_of(names.begin(), names.end(),
                        [](const auto& name) { return name.size() > kLongestName; })) {
            return ERROR_INVALID_PARAMETER;
        }
        if (wantedRights(access) == 0 && (access & MAXIMUM_ALLOWED) == 0) {
            return ERROR_ACCESS_DENIED;
        }
        if (place.findDeepest(path)->deniesWrite()) {
            return ERROR_ACCESS_DENIED;
        }
        found = place.make(path);
    }
    const LSTATUS status = openKey(found, access, opened);
    if (status == ERROR_SUCCESS && disposition != nullptr) {
        *disposition = isNew ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    }
    return status;
}

LSTATUS WINAPI RegCloseKey(HKEY key) {
    Call call("RegCloseKey");
    if (call.fails()) {
        return static_cast<LSTATUS>(call.status(ERROR_INVALID_HANDLE));
    }
    if (predefinedName(key) != nullptr) {
        return ERROR_SUCCESS;
    }
    Handles& handles = Machine::current().handles;
    return handles.find<OpenKey>(key) != nullptr && handles.close(key) ? ERROR_SUCCESS
                                                                       : ERROR_INVALID_HANDLE;
}

LSTATUS WINAPI RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                                LPDWORD size) {
    Call call("RegQueryValueExW");
    if (call.fails()) {
        return static_cast<LSTATUS>(call.status(ERROR_ACCESS_DENIED));
    }
    if (reserved != nullptr || (data != nullptr && size == nullptr)) {
        return ERROR_INVALID_PARAMETER;
    }
    const Place place(key);
    if (const LSTATUS status = place.require(KEY_QUERY_VALUE); status != ERROR_SUCCESS) {
        return status;
    }
    const RegistryValue* const value = place.key().findValue(argument(name));
    if (value == nullptr) {
        return ERROR_FILE_NOT_FOUND;
    }
    if (type != nullptr) {
        *type = value->type;
    }
    return copyData(*value, data, size);
}

LSTATUS WINAPI RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                              DWORD size) {
    Call call("RegSetValueExW");
    if (call.fails()) {
        return static_cast<LSTATUS>(call.status(ERROR_ACCESS_DENIED));
    }
    if (reserved != 0) {
        return ERROR_INVALID_PARAMETER;
    }
    const Place place(key);
    if (const LSTATUS status = place.require(KEY_SET_VALUE); status != ERROR_SUCCESS) {
        return status;
    }
    if (place.key().deniesWrite()) {
        return ERROR_ACCESS_DENIED;
    }
    place.key().setValue(
        argument(name), type,
        size == 0 ? std::vector<std::uint8_t>() : std::vector<std::uint8_t>(data, data + size));
    return ERROR_SUCCESS;
}

LSTATUS WINAPI RegDeleteValueW(HKEY key, LPCWSTR name) {
    Call call("RegDeleteValueW");
    if (call.fails()) {
        return static_cast<LSTATUS>(call.status(ERROR_ACCESS_DENIED));
    }
    const Place place(key);
    if (const LSTATUS status = place.require(KEY_SET_VALUE); status != ERROR_SUCCESS) {
        return status;
    }
    if (place.key().deniesWrite()) {
        return ERROR_ACCESS_DENIED;
    }
    return place.key().deleteValue(argument(name)) ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}

LSTATUS WINAPI RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameSize, LPDWORD reserved,
                             LPWSTR className, LPDWORD classSize, FILETIME* lastWrite) {
    Call call("RegEnumKeyExW");
    if (call.fails()) {
        return static_cast<LSTATUS>(call.status(ERROR_ACCESS_DENIED));
    }
    if (name == nullptr || nameSize == nullptr || reserved != nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const Place place(key);
    if (const LSTATUS status = place.require(KEY_ENUMERATE_SUB_KEYS); status != ERROR_SUCCESS) {
        return status;
    }
    const auto& subkeys = place.key().subkeys;
    if (index >= subkeys.size()) {
        return ERROR_NO_MORE_ITEMS;
    }
    if (className != nullptr && classSize != nullptr && *classSize > 0) {
        *className = u'\0';
        *classSize = 0;
    }
    if (lastWrite != nullptr) {
        *lastWrite = {};
    }
    return copyName(std::next(subkeys.begin(), index)->first, name, nameSize);
}

LSTATUS WINAPI RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameSize, LPDWORD reserved,
                             LPDWORD type, LPBYTE data, LPDWORD size) {
    Call call("RegEnumValueW");
    if (call.fails()) {
        return static_cast<LSTATUS>(call.status(ERROR_ACCESS_DENIED));
    }
    if (name == nullptr || nameSize == nullptr || reserved != nullptr ||
        (data != nullptr && size == nullptr)) {
        return ERROR_INVALID_PARAMETER;
    }
    const Place place(key);
    if (const LSTATUS status = place.require(KEY_QUERY_VALUE); status != ERROR_SUCCESS) {
        return status;
    }
    if (index >= place.key().values.size()) {
        return ERROR_NO_MORE_ITEMS;
    }
    const RegistryValue& value = place.key().values[index];
    if (const LSTATUS status = copyName(value.name, name, nameSize); status != ERROR_SUCCESS) {
        return status;
    }
    if (type != nullptr) {
        *type = value.type;
    }
    return copyData(value, data, size);
}

LSTATUS WINAPI RegDeleteKeyW(HKEY key, LPCWSTR subkey) {
    Call call("RegDeleteKeyW");
    if (call.fails()) {
        return static_cast<LSTATUS>(call.status(ERROR_ACCESS_DENIED));
    }
    return deleteKey(key, subkey, 0);
}

LSTATUS WINAPI RegDeleteKeyExW(HKEY key, LPCWSTR subkey, REGSAM view, DWORD reserved) {
    Call call("RegDeleteKeyExW");
    if (call.fails()) {
        return static_cast<LSTATUS>(call.status(ERROR_ACCESS_DENIED));
    }
    return reserved != 0 ? ERROR_INVALID_PARAMETER : deleteKey(key, subkey, view);
}

LSTATUS WINAPI RegDeleteTreeW(HKEY key, LPCWSTR subkey) {
    Call call("RegDeleteTreeW");
    if (call.fails()) {
        return static_cast<LSTATUS>(call.status(ERROR_ACCESS_DENIED));
    }
    return deleteTree(key, argument(subkey));
}

LSTATUS WINAPI SHDeleteKeyW(HKEY key, LPCWSTR subkey) {
    Call call("SHDeleteKeyW");
    if (call.fails()) {
        return static_cast<LSTATUS>(call.status(ERROR_ACCESS_DENIED));
    }
    return deleteTree(key, argument(subkey));
}

}  // extern "C"
