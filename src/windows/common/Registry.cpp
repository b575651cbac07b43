#include "windows/common/Registry.h"

#include <shlwapi.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "common/share/GrowingBuffer.h"
#include "common/share/Logger.h"
#include "common/share/tstrings.h"
#include "common/windows/WinAutoHandle.h"
#include "common/windows/WinErrorHandling.h"
#include "windows/common/Dll.h"
#include "windows/common/Paths.h"
#include "windows/common/SysInfo.h"

using FileUtils::basename;
using FileUtils::combinePath;
using FileUtils::dirname;

const Registry HKLM(HKEY_LOCAL_MACHINE, 0, _T("HKLM"));
const Registry HKLM32(HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY, _T("HKLM"));
const Registry HKLM64(HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY, _T("HKLM"));
const Registry HKCU32(HKEY_CURRENT_USER, KEY_WOW64_32KEY, _T("HKCU"));
const Registry HKCU64(HKEY_CURRENT_USER, KEY_WOW64_64KEY, _T("HKCU"));
const Registry HKC(HKEY_CLASSES_ROOT, 0, _T("HKC"));

namespace {

constexpr REGSAM kReadAccess = KEY_READ;
constexpr REGSAM kWriteAccess = KEY_READ | KEY_WRITE;
constexpr REGSAM kDeleteTreeAccess =
    DELETE | KEY_ENUMERATE_SUB_KEYS | KEY_QUERY_VALUE | KEY_SET_VALUE;

// The name of a key has up to 255 characters, that of a value up to 16,383 (Microsoft, "Registry
// Element Size Limits").
constexpr DWORD kSubkeyNameSize = 256;
constexpr DWORD kValueNameSize = 16384;

constexpr std::size_t kLongestLoggedValue = 1024;

const TCHAR* typeName(DWORD type) {
    constexpr const TCHAR* kNames[] = {
        _T("REG_NONE"),
        _T("REG_SZ"),
        _T("REG_EXPAND_SZ"),
        _T("REG_BINARY"),
        _T("REG_DWORD"),
        _T("REG_DWORD_BIG_ENDIAN"),
        _T("REG_LINK"),
        _T("REG_MULTI_SZ"),
        _T("REG_RESOURCE_LIST"),
        _T("REG_FULL_RESOURCE_DESCRIPTOR"),
        _T("REG_RESOURCE_REQUIREMENTS_LIST"),
        _T("REG_QWORD"),
    };
    return type < std::size(kNames) ? kNames[type] : _T("Unknown");
}

tstring viewSuffix(REGSAM view) {
    if (!SysInfo::is64BitOs()) {
        return tstring();
    }
    return view == KEY_WOW64_32KEY ? _T("32") : view == KEY_WOW64_64KEY ? _T("64") : _T("");
}

[[noreturn]] void fail(FailedCall call, const TCHAR* words, const tstring& path,
                       const SourceLocation& where) {
    raise(where, call << words << _T(" (") << path << _T(") error"));
}

/// Throws "<words> (<path>) error" unless the status is ERROR_SUCCESS.
template <class Function>
void check(LSTATUS status, const TCHAR* words, const tstring& path, Function function,
           const SourceLocation& where) {
    if (status != ERROR_SUCCESS) {
        fail(FailedCall(function, static_cast<DWORD>(status)), words, path, where);
    }
}

/// Opens an existing key.
LSTATUS openKey(HKEY parent, const tstring& subkey, REGSAM access, RegHandle& opened) {
    HKEY key = nullptr;
    const LSTATUS status = RegOpenKeyExW(parent, subkey.c_str(), 0, access, &key);
    opened.reset(status == ERROR_SUCCESS ? key : nullptr);
    return status;
}

/// Returns the names that `enumerate`, one of the two enumerating functions, yields until it
/// returns another status than ERROR_SUCCESS.
template <class Enumerate>
std::vector<tstring> namesFrom(Enumerate* enumerate, HKEY key, DWORD nameSize, const TCHAR* words,
                               const tstring& keyName, const SourceLocation& where) {
    std::vector<tstring> names;
    std::vector<TCHAR> buffer(nameSize);
    for (DWORD index = 0;; ++index) {
        DWORD size = nameSize;
        const LSTATUS status =
            enumerate(key, index, buffer.data(), &size, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS) {
            return names;
        }
        check(status, words, combinePath(keyName, tstrings::toString(index + 1)), enumerate, where);
        names.emplace_back(buffer.begin(), std::find(buffer.begin(), buffer.end(), _T('\0')));
    }
}

LSTATUS deleteValueOf(HKEY key, const tstring& keyName, const tstring& name) {
    const LSTATUS status = RegDeleteValueW(key, name.c_str());
    if (status == ERROR_SUCCESS) {
        LOG_TRACE("Registry::deleteValue",
                  Text() << _T("Deleted [") << keyName << _T("\\") << name << _T("] value"));
    }
    return status;
}

}  // namespace

Registry::Registry(HKEY root, REGSAM view, const tstring& name)
    : key_(root), owned_(false), view_(view), name_(name + viewSuffix(view)) {}

Registry::Registry(const Registry& parent, const tstring& subkey, Mode mode)
    : key_(parent.key_), owned_(false), view_(parent.view_), name_(parent.name_) {
    open(subkey, mode);
}

Registry::Registry(Registry&& other) noexcept
    : key_(std::exchange(other.key_, nullptr)),
      owned_(std::exchange(other.owned_, false)),
      view_(other.view_),
      name_(std::move(other.name_)) {}

Registry& Registry::operator=(Registry&& other) noexcept {
    if (this != &other) {
        close();
        key_ = std::exchange(other.key_, nullptr);
        owned_ = std::exchange(other.owned_, false);
        view_ = other.view_;
        name_ = std::move(other.name_);
    }
    return *this;
}

Registry::~Registry() {
    close();
}

void Registry::close() noexcept {
    if (owned_) {
        closeRegHandle(key_);
    }
    key_ = nullptr;
    owned_ = false;
}

void Registry::open(const tstring& subkey, Mode mode) {
    tstring name = combinePath(name_, subkey);
    RegHandle opened;
    if (mode == Mode::Read) {
        check(openKey(key_, subkey, kReadAccess | view_, opened), _T("open key"), name,
              RegOpenKeyExW, "Registry::open");
    } else {
        HKEY key = nullptr;
        check(RegCreateKeyExW(key_, subkey.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                              kWriteAccess | view_, nullptr, &key, nullptr),
              _T("open key"), name, RegCreateKeyExW, "Registry::open");
        opened.reset(key);
    }
    close();
    key_ = opened.release();
    owned_ = true;
    name_ = std::move(name);
}

bool Registry::hasSubkey(const tstring& subkey) const {
    RegHandle opened;
    return openKey(key_, subkey, kReadAccess | view_, opened) == ERROR_SUCCESS;
}

bool Registry::hasValue(const tstring& valuePath, DWORD* type) const {
    RegHandle opened;
    HKEY key = key_;
    const tstring directory = dirname(valuePath);
    if (!directory.empty()) {
        if (openKey(key_, directory, kReadAccess | view_, opened) != ERROR_SUCCESS) {
            return false;
        }
        key = opened.get();
    }
    DWORD found = REG_NONE;
    if (RegQueryValueExW(key, basename(valuePath).c_str(), nullptr, &found, nullptr, nullptr) !=
        ERROR_SUCCESS) {
        return false;
    }
    if (type != nullptr) {
        *type = found;
    }
    return true;
}

std::vector<BYTE> Registry::getValue(const tstring& valuePath, DWORD& type) const {
    const tstring directory = dirname(valuePath);
    const tstring name = basename(valuePath);
    if (!directory.empty()) {
        return Registry(*this, directory, Mode::Read).getValue(name, type);
    }
    return readGrowing<std::vector<BYTE>>(0, [&](BYTE* data, std::size_t capacity) -> std::size_t {
        auto size = static_cast<DWORD>(capacity);
        const LSTATUS status = RegQueryValueExW(key_, name.c_str(), nullptr, &type,
                                                capacity == 0 ? nullptr : data, &size);
        if (status == ERROR_MORE_DATA) {
            return std::max<std::size_t>(
                size, capacity + 1);  // the value has grown since its size was queried
        }
        check(status, _T("query value"), combinePath(name_, name), RegQueryValueExW,
              "Registry::getValue");
        return size;
    });
}

tstring Registry::getString(const tstring& valuePath) const {
    DWORD type = REG_NONE;
    const std::vector<BYTE> data = getValue(valuePath, type);
    if (type != REG_SZ && type != REG_EXPAND_SZ) {
        raise<std::runtime_error>("Registry::getString", Text() << _T("query string value (")
                                                                << combinePath(name_, valuePath)
                                                                << _T(") error: wrong type"));
    }
    tstring text(data.size() / sizeof(TCHAR), _T('\0'));
    if (!text.empty()) {
        std::memcpy(text.data(), data.data(), text.size() * sizeof(TCHAR));
    }
    if (!text.empty() && text.back() == _T('\0')) {
        text.pop_back();
    }
    return text;
}

tstring Registry::getString(const tstring& valuePath, const tstring& fallback) const {
    try {
        return getString(valuePath);
    } catch (const std::exception&) {
        return fallback;
    }
}

void Registry::setString(const tstring& valuePath, const tstring& value) const {
    setText(valuePath, value, REG_SZ, _T("set string value"), "Registry::setString");
}

void Registry::setExpandString(const tstring& valuePath, const tstring& value) const {
    setText(valuePath, value, REG_EXPAND_SZ, _T("set expand string value"),
            "Registry::setExpandString");
}

void Registry::setText(const tstring& valuePath, const tstring& value, DWORD type,
                       const TCHAR* words, const SourceLocation& where) const {
    const tstring directory = dirname(valuePath);
    const tstring name = basename(valuePath);
    if (!directory.empty()) {
        Registry(*this, directory, Mode::Write).setText(name, value, type, words, where);
        return;
    }
    const DWORD size = static_cast<DWORD>((value.size() + 1) * sizeof(TCHAR));
    check(RegSetValueExW(key_, name.c_str(), 0, type, reinterpret_cast<const BYTE*>(value.c_str()),
                         size),
          words, combinePath(name_, name), RegSetValueExW, where);
    Text shown;
    if (value.size() > kLongestLoggedValue) {
        shown << value.substr(0, kLongestLoggedValue) << _T("...]; length=") << value.size();
    } else {
        shown << value << _T("]");
    }
    LOG_TRACE(where, Text() << _T("Set [") << name_ << _T("\\") << name << _T("]=")
                            << typeName(type) << _T("[") << shown);
}

LSTATUS Registry::deleteValue(const tstring& valuePath) const {
    const tstring directory = dirname(valuePath);
    RegHandle opened;
    if (!directory.empty()) {
        const LSTATUS status = openKey(key_, directory, kWriteAccess | view_, opened);
        if (status != ERROR_SUCCESS) {
            return status;
        }
    }
    return deleteValueOf(opened ? opened.get() : key_, combinePath(name_, directory),
                         basename(valuePath));
}

LSTATUS Registry::deleteNamedValue(const tstring& name) const {
    return deleteValueOf(key_, name_, name);
}

LSTATUS Registry::deleteSubkey(const tstring& subkey) const {
    const DllFunction<LSTATUS(WINAPI*)(HKEY, LPCWSTR, REGSAM, DWORD)> deleteKey(Dll(_T("advapi32")),
                                                                                "RegDeleteKeyExW");
    if (!deleteKey.isAvailable()) {
        return RegDeleteKeyW(key_, subkey.c_str());
    }
    const LSTATUS status = deleteKey(key_, subkey.c_str(), view_, 0);
    if (status == ERROR_SUCCESS) {
        LOG_TRACE("Registry::deleteSubkey",
                  Text() << _T("Deleted [") << combinePath(name_, subkey) << _T("] key"));
    }
    return status;
}

LSTATUS Registry::tryDeleteKeyTree(const tstring& subkey) const {
    RegHandle key;
    LSTATUS status = openKey(key_, subkey, kDeleteTreeAccess | view_, key);
    if (status != ERROR_SUCCESS) {
        return status;
    }
    const DllFunction<LSTATUS(WINAPI*)(HKEY, LPCWSTR)> deleteTree(Dll(_T("advapi32")),
                                                                  "RegDeleteTreeW");
    status = deleteTree.isAvailable() ? deleteTree(key.get(), nullptr)
                                      : static_cast<LSTATUS>(SHDeleteKeyW(key.get(), _T("")));
    if (status != ERROR_SUCCESS) {
        return status;
    }
    LOG_TRACE("Registry::tryDeleteKeyTree", Text() << _T("Deleted all child elements of [")
                                                   << combinePath(name_, subkey) << _T("] key"));
    key.reset();
    return deleteSubkey(subkey);
}

void Registry::deleteKeyTree(const tstring& subkey) const {
    const LSTATUS status = tryDeleteKeyTree(subkey);
    if (status != ERROR_FILE_NOT_FOUND && status != ERROR_KEY_DELETED) {
        check(status, _T("delete key tree"), combinePath(name_, subkey), nullptr,
              "Registry::deleteKeyTree");
    }
}

std::vector<tstring> Registry::getSubkeyNames() const {
    return namesFrom(RegEnumKeyExW, key_, kSubkeyNameSize, _T("enum subkeys"), name_,
                     "Registry::getSubkeyNames");
}

std::vector<tstring> Registry::getValueNames() const {
    return namesFrom(RegEnumValueW, key_, kValueNameSize, _T("enum values"), name_,
                     "Registry::getValueNames");
}
