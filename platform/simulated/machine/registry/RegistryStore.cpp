#include <windows.h>

#include "simulated/machine/registry/RegistryStore.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "simulated/machine/registry/RegistryViews.h"

namespace simulated {

namespace {

std::vector<std::uint8_t> textBytes(std::u16string_view text) {
    const std::u16string terminated(text);
    std::vector<std::uint8_t> data((text.size() + 1) * sizeof(char16_t));
    std::memcpy(data.data(), terminated.c_str(), data.size());
    return data;
}

std::u16string bytesText(const std::vector<std::uint8_t>& data) {
    std::u16string text(data.size() / sizeof(char16_t), u'\0');
    if (text.empty()) {
        return text;  // an empty vector may have no memory
    }
    std::memcpy(text.data(), data.data(), text.size() * sizeof(char16_t));
    return text;
}

std::string describeType(std::uint32_t type) {
    constexpr std::string_view kNames[] = {"NONE",
                                           "SZ",
                                           "EXPAND_SZ",
                                           "BINARY",
                                           "DWORD",
                                           "DWORD_BIG_ENDIAN",
                                           "LINK",
                                           "MULTI_SZ",
                                           "RESOURCE_LIST",
                                           "FULL_RESOURCE_DESCRIPTOR",
                                           "RESOURCE_REQUIREMENTS_LIST",
                                           "QWORD"};
    return type < std::size(kNames) ? "REG_" + std::string(kNames[type])
                                    : "type " + std::to_string(type);
}

std::string describeData(const RegistryValue& value) {
    const bool isText = value.type == REG_SZ || value.type == REG_EXPAND_SZ;
    if (isText && value.data.size() >= 2 && value.data.size() % 2 == 0) {
        std::u16string text = bytesText(value.data);
        if (text.find(u'\0') == text.size() - 1) {
            text.pop_back();
            return '"' + toUtf8(text) + '"';
        }
    }
    if (value.type == REG_DWORD && value.data.size() == sizeof(DWORD)) {
        DWORD number;
        std::memcpy(&number, value.data.data(), sizeof(number));
        return std::to_string(number);
    }
    std::string text;
    for (const std::uint8_t byte : value.data) {
        constexpr const char* kDigits = "0123456789abcdef";
        text += {kDigits[byte >> 4], kDigits[byte & 15], ' '};
    }
    return text;
}

void describeKey(const RegistryKey& key, const std::string& path, std::vector<std::string>& facts) {
    facts.push_back("registry " + path);
    for (const RegistryValue& value : key.values()) {
        facts.push_back("registry " + path + " [" + toUtf8(value.name) + "] " +
                        describeType(value.type) + ' ' + describeData(value));
    }
    for (const auto& [name, subkey] : key.subkeys) {
        describeKey(*subkey, path + '\\' + toUtf8(subkey->name), facts);
    }
}

}  // namespace

std::u16string RegistryKey::path() const {
    return parent == nullptr ? name : parent->path() + u'\\' + name;
}

const RegistryValue* RegistryKey::findValue(std::u16string_view valueName) const {
    const auto found = valuesByName_.find(valueName);
    return found == valuesByName_.end() ? nullptr : &*found->second;
}

const RegistryValue* RegistryKey::valueAt(std::size_t index) {
    const auto value = valueEnumeration_.at(values_, index);
    return value == values_.end() ? nullptr : &*value;
}

void RegistryKey::setValue(std::u16string_view valueName, std::uint32_t type,
                           std::vector<std::uint8_t> data) {
    const auto found = valuesByName_.find(valueName);
    if (found != valuesByName_.end()) {
        found->second->type = type;
        found->second->data = std::move(data);
        return;
    }
    values_.push_back({std::u16string(valueName), type, std::move(data)});
    valuesByName_.emplace(valueName, std::prev(values_.end()));
    valueEnumeration_.reset();
}

bool RegistryKey::deleteValue(std::u16string_view valueName) {
    const auto found = valuesByName_.find(valueName);
    if (found == valuesByName_.end()) {
        return false;
    }
    values_.erase(found->second);
    valuesByName_.erase(found);
    valueEnumeration_.reset();
    return true;
}

void RegistryKey::deleteValues() {
    valuesByName_.clear();
    values_.clear();
    valueEnumeration_.reset();
}

std::shared_ptr<RegistryKey> RegistryKey::subkey(std::u16string_view subkeyName) {
    const auto found = subkeys.find(subkeyName);
    if (found != subkeys.end()) {
        return found->second;
    }
    const auto made = std::make_shared<RegistryKey>();
    made->name = subkeyName;
    made->parent = this;
    subkeys.emplace(subkeyName, made);
    subkeyEnumeration_.reset();
    return made;
}

const std::u16string* RegistryKey::nameOfSubkey(std::size_t index) {
    const auto subkey = subkeyEnumeration_.at(subkeys, index);
    return subkey == subkeys.end() ? nullptr : &subkey->first;
}

void RegistryKey::remove() {
    while (!subkeys.empty()) {
        const std::shared_ptr<RegistryKey> first = subkeys.begin()->second;
        first->remove();
    }
    deleted = true;
    if (RegistryKey* const above = std::exchange(parent, nullptr)) {
        const std::u16string ownName = name;
        above->subkeys.erase(ownName);
        above->subkeyEnumeration_.reset();
    }
}

bool RegistryKey::deniesWrite() const {
    return writeDenied || (parent != nullptr && parent->deniesWrite());
}

bool RegistryKey::deniesRead() const {
    return readDenied || (parent != nullptr && parent->deniesRead());
}

RegistryStore::RegistryStore(const bool& is64BitSystem) : is64BitSystem_(is64BitSystem) {
    for (const std::u16string_view name : {u"HKLM", u"HKCU", u"HKU"}) {
        const auto key = std::make_shared<RegistryKey>();
        key->name = name;
        roots_.emplace(name, key);
    }
    const std::u16string_view current = u"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion";
    for (const View view : {View::Bits64, View::Bits32}) {
        const std::u16string suffix = view == View::Bits32 ? u" (x86)" : u"";
        setString(view, current, u"ProgramFilesDir", u"C:\\Program Files" + suffix);
        setString(view, current, u"CommonFilesDir",
                  u"C:\\Program Files" + suffix + u"\\Common Files");
        setString(view, current, u"ProgramFilesDir (x86)", u"C:\\Program Files (x86)");
        setString(view, current, u"CommonFilesDir (x86)", u"C:\\Program Files (x86)\\Common Files");
        setString(view, u"HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", u"ProductName",
                  u"Windows");
        createKey(view, u"HKLM\\SOFTWARE\\Classes\\CLSID");
    }
    setExpandString(View::Bits64,
                    u"HKLM\\SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment",
                    u"Path", u"%SystemRoot%\\system32;%SystemRoot%");
    createKey(View::Bits64, u"HKLM\\SOFTWARE\\Policies");
    createKey(View::Bits64, u"HKCU\\Environment");
    createKey(View::Bits64, u"HKCU\\Software\\Classes");
    createKey(View::Bits64, u"HKCU\\Software\\Microsoft");
    createKey(View::Bits64, u"HKU\\.DEFAULT");
}

std::shared_ptr<RegistryKey> RegistryStore::root(std::u16string_view name) const {
    const auto found = roots_.find(name);
    return found == roots_.end() ? nullptr : found->second;
}

KeyPath RegistryStore::resolve(View view, std::u16string_view path) const {
    const KeyPath names = components(path);
    const bool isIn32BitView = view == View::Bits32 || leadsInto32BitView(names);
    return is64BitSystem_ && isIn32BitView ? pathIn32BitView(names) : names;
}

std::vector<std::shared_ptr<RegistryKey>> RegistryStore::keysOn(const KeyPath& names) const {
    std::vector<std::shared_ptr<RegistryKey>> keys;
    for (const std::u16string& name : names) {
        const auto& siblings = keys.empty() ? roots_ : keys.back()->subkeys;
        const auto found = siblings.find(name);
        if (found == siblings.end()) {
            break;
        }
        keys.push_back(found->second);
    }
    return keys;
}

std::shared_ptr<RegistryKey> RegistryStore::find(View view, std::u16string_view path) const {
    const KeyPath names = resolve(view, path);
    const auto keys = keysOn(names);
    return keys.empty() || keys.size() < names.size() ? nullptr : keys.back();
}

std::shared_ptr<RegistryKey> RegistryStore::findDeepest(View view, std::u16string_view path) const {
    return keysOn(resolve(view, path)).back();
}

std::shared_ptr<RegistryKey> RegistryStore::make(View view, std::u16string_view path) {
    const KeyPath names = resolve(view, path);
    std::shared_ptr<RegistryKey> key = names.empty() ? nullptr : root(names[0]);
    if (key == nullptr) {
        throw std::invalid_argument("no root of the registry: " + toUtf8(path));
    }
    for (std::size_t i = 1; i < names.size(); ++i) {
        key = key->subkey(names[i]);
    }
    return key;
}

void RegistryStore::createKey(View view, std::u16string_view key) {
    make(view, key);
}

bool RegistryStore::hasKey(View view, std::u16string_view key) const {
    return find(view, key) != nullptr;
}

bool RegistryStore::deleteKey(View view, std::u16string_view key) {
    const auto found = find(view, key);
    if (found == nullptr || found->parent == nullptr) {
        return false;
    }
    found->remove();
    return true;
}

std::vector<std::u16string> RegistryStore::subkeys(View view, std::u16string_view key) const {
    std::vector<std::u16string> names;
    if (const auto found = find(view, key)) {
        for (const auto& [name, subkey] : found->subkeys) {
            names.push_back(name);
        }
    }
    return names;
}

std::vector<std::u16string> RegistryStore::valueNames(View view, std::u16string_view key) const {
    std::vector<std::u16string> names;
    if (const auto found = find(view, key)) {
        for (const RegistryValue& value : found->values()) {
            names.push_back(value.name);
        }
    }
    return names;
}

void RegistryStore::setString(View view, std::u16string_view key, std::u16string_view name,
                              std::u16string_view text) {
    setValue(view, key, name, REG_SZ, textBytes(text));
}

void RegistryStore::setExpandString(View view, std::u16string_view key, std::u16string_view name,
                                    std::u16string_view text) {
    setValue(view, key, name, REG_EXPAND_SZ, textBytes(text));
}

void RegistryStore::setNumber(View view, std::u16string_view key, std::u16string_view name,
                              std::uint32_t number) {
    std::vector<std::uint8_t> data(sizeof(number));
    std::memcpy(data.data(), &number, sizeof(number));
    setValue(view, key, name, REG_DWORD, std::move(data));
}

void RegistryStore::setValue(View view, std::u16string_view key, std::u16string_view name,
                             std::uint32_t type, std::vector<std::uint8_t> data) {
    make(view, key)->setValue(name, type, std::move(data));
}

std::optional<std::u16string> RegistryStore::getString(View view, std::u16string_view key,
                                                       std::u16string_view name) const {
    const std::optional<RegistryValue> value = getValue(view, key, name);
    if (!value || (value->type != REG_SZ && value->type != REG_EXPAND_SZ)) {
        return std::nullopt;
    }
    std::u16string text = bytesText(value->data);
    if (!text.empty() && text.back() == u'\0') {
        text.pop_back();
    }
    return text;
}

std::optional<RegistryValue> RegistryStore::getValue(View view, std::u16string_view key,
                                                     std::u16string_view name) const {
    const auto found = find(view, key);
    const RegistryValue* const value = found == nullptr ? nullptr : found->findValue(name);
    return value == nullptr ? std::nullopt : std::optional(*value);
}

bool RegistryStore::deleteValue(View view, std::u16string_view key, std::u16string_view name) {
    const auto found = find(view, key);
    return found != nullptr && found->deleteValue(name);
}

void RegistryStore::denyWrite(View view, std::u16string_view key, bool deny) {
    make(view, key)->writeDenied = deny;
}

void RegistryStore::denyRead(View view, std::u16string_view key, bool deny) {
    make(view, key)->readDenied = deny;
}

void RegistryStore::dropWow64Keys() {
    for (const std::u16string_view path :
         {u"HKLM\\Software\\Wow6432Node", u"HKLM\\Software\\Classes\\Wow6432Node",
          u"HKCU\\Software\\Classes\\Wow6432Node"}) {
        deleteKey(View::Bits64, path);
    }
    const std::u16string_view current = u"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion";
    deleteValue(View::Bits64, current, u"ProgramFilesDir (x86)");
    deleteValue(View::Bits64, current, u"CommonFilesDir (x86)");
}

void RegistryStore::describe(std::vector<std::string>& facts) const {
    for (const auto& [name, key] : roots_) {
        describeKey(*key, toUtf8(name), facts);
    }
}

}  // namespace simulated
