// The registry of a simulated machine, as tests arrange and read it.
//
// Keys are stored as Windows stores them: one tree for each root, in which the 32-bit view of a
// 64-bit system is the subtree "Wow6432Node" of each redirected key. RegistryViews.h lists those
// keys.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulated/machine/Names.h"

namespace simulated {

/// The two views of a 64-bit Windows. On a 32-bit one both are the same.
enum class View { Bits32, Bits64 };

struct RegistryValue {
    std::u16string name;  ///< empty for the default value
    std::uint32_t type;
    std::vector<std::uint8_t> data;
};

/// Looks elements of a list or map up by their index, in constant time where indexes rise one by
/// one.
template <class Container>
class Enumeration {
public:
    using Iterator = typename Container::const_iterator;

    /// Returns the element at an index, or the end.
    Iterator at(const Container& container, std::size_t index) {
        if (index >= container.size()) {
            return container.end();
        }
        if (!element_ || index < index_) {
            element_ = container.begin();
            index_ = 0;
        }
        for (; index_ < index; ++index_) {
            ++*element_;
        }
        return *element_;
    }

    /// Must be called whenever an element was added or deleted.
    void reset() { element_.reset(); }

private:
    std::optional<Iterator> element_;
    std::size_t index_ = 0;
};

/// A key with its values in the order in which they were made and its subkeys in the order of their
/// names.
class RegistryKey {
public:
    using Values = std::list<RegistryValue>;
    using Subkeys = NameMap<std::shared_ptr<RegistryKey>>;

    std::u16string name;
    RegistryKey* parent = nullptr;
    bool deleted = false;  ///< an open handle still refers to it
    bool readDenied = false;
    bool writeDenied = false;
    Subkeys subkeys;  ///< changed by `subkey` and `remove` alone

    const Values& values() const { return values_; }
    /// Returns the path from the root: "HKLM\Software\Wow6432Node\X".
    std::u16string path() const;
    const RegistryValue* findValue(std::u16string_view valueName) const;
    /// Returns the value at an index, or null after the last one.
    const RegistryValue* valueAt(std::size_t index);
    void setValue(std::u16string_view valueName, std::uint32_t type,
                  std::vector<std::uint8_t> data);
    bool deleteValue(std::u16string_view valueName);
    void deleteValues();
    /// Returns the direct subkey of this name; creates it if it is missing.
    std::shared_ptr<RegistryKey> subkey(std::u16string_view subkeyName);
    /// Returns the name of the subkey at an index, or null after the last one.
    const std::u16string* nameOfSubkey(std::size_t index);
    /// Deletes the key and everything below it.
    void remove();
    /// Whether writing or reading is denied for this key or one above it.
    bool deniesWrite() const;
    bool deniesRead() const;

private:
    Values values_;
    NameMap<Values::iterator> valuesByName_;
    Enumeration<Values> valueEnumeration_;
    Enumeration<Subkeys> subkeyEnumeration_;
};

/// Paths start with a root: "HKLM\Software\X"; roots are HKLM, HKCU and HKU. What tests do here is
/// no call of the process: it isn't counted, can't be made to fail, and ignores denied access.
class RegistryStore {
public:
    /// Creates a registry with the keys that every Windows has. The store keeps the reference to
    /// the machine's fact.
    explicit RegistryStore(const bool& is64BitSystem);

    /// Creates a key and the missing keys above it.
    void createKey(View view, std::u16string_view key);
    bool hasKey(View view, std::u16string_view key) const;
    /// Deletes a key and everything below it; returns false if there is none.
    bool deleteKey(View view, std::u16string_view key);
    /// Returns the names of the direct subkeys, in order.
    std::vector<std::u16string> subkeys(View view, std::u16string_view key) const;
    /// Returns the names of the values, in the order in which they were made.
    std::vector<std::u16string> valueNames(View view, std::u16string_view key) const;

    /// These create the key if it is missing. The name of the default value is empty.
    void setString(View view, std::u16string_view key, std::u16string_view name,
                   std::u16string_view text);
    void setExpandString(View view, std::u16string_view key, std::u16string_view name,
                         std::u16string_view text);
    void setNumber(View view, std::u16string_view key, std::u16string_view name,
                   std::uint32_t number);
    void setValue(View view, std::u16string_view key, std::u16string_view name, std::uint32_t type,
                  std::vector<std::uint8_t> data);

    /// Returns the string of a REG_SZ or REG_EXPAND_SZ value without its NUL; nothing for other
    /// types.
    std::optional<std::u16string> getString(View view, std::u16string_view key,
                                            std::u16string_view name) const;
    std::optional<RegistryValue> getValue(View view, std::u16string_view key,
                                          std::u16string_view name) const;
    bool deleteValue(View view, std::u16string_view key, std::u16string_view name);

    /// Makes writing or reading a key and everything below it fail with status 5.
    void denyWrite(View view, std::u16string_view key, bool deny = true);
    void denyRead(View view, std::u16string_view key, bool deny = true);

    /// Deletes the subtrees of the 32-bit view: a 32-bit Windows has none.
    void dropWow64Keys();

    /// Appends each key and value as a line: "registry HKLM\Software\X [name] REG_SZ "text"".
    void describe(std::vector<std::string>& facts) const;

    // For Windows' functions alone.

    /// Returns a root by its name, or null.
    std::shared_ptr<RegistryKey> root(std::u16string_view name) const;
    /// Returns the key with this path in a view, or null.
    std::shared_ptr<RegistryKey> find(View view, std::u16string_view path) const;
    /// Returns the last key that exists on a path whose root does.
    std::shared_ptr<RegistryKey> findDeepest(View view, std::u16string_view path) const;
    /// As `find`, but creates the keys that are missing.
    std::shared_ptr<RegistryKey> make(View view, std::u16string_view path);

private:
    /// Returns the names of a path in a view as they are stored.
    std::vector<std::u16string> resolve(View view, std::u16string_view path) const;
    /// Returns the keys on a stored path, from the root to the last one that exists.
    std::vector<std::shared_ptr<RegistryKey>> keysOn(
        const std::vector<std::u16string>& names) const;

    const bool& is64BitSystem_;
    NameMap<std::shared_ptr<RegistryKey>> roots_;
};

}  // namespace simulated
