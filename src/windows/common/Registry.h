// Access to the registry: a key that records how it was reached, so that logs and errors name its
// full path and registry view.
//
//     Registry key(HKLM64, _T("Software\\Classes"), Registry::Mode::Write);
//     key.setString(_T("vkrfile\\"), _T("Norv file"));  // the default value of Classes\vkrfile
//
// A value path is a value name, optionally preceded by subkeys. It is split at its last separator,
// backslash or forward slash; a path that ends with a separator names a default value. Functions
// throw SysError unless stated otherwise.
#pragma once

#include <vector>

#include "common/share/PmtError.h"
#include "common/share/tstring.h"

class Registry {
public:
    enum class Mode {
        Read = 0,   ///< opens an existing key for reading
        Write = 1,  ///< creates or opens the key for reading and writing
    };

    /// A predefined key. `view` is 0, KEY_WOW64_32KEY or KEY_WOW64_64KEY and applies to every key
    /// below it; on a 64-bit system the number of the view is added to `name`.
    Registry(HKEY root, REGSAM view, const tstring& name);

    /// Opens or creates a subkey of another key.
    Registry(const Registry& parent, const tstring& subkey, Mode mode);

    Registry(Registry&& other) noexcept;
    Registry& operator=(Registry&& other) noexcept;
    ~Registry();

    /// Replaces this key by its subkey `subkey`. Leaves this object unchanged when it throws.
    void open(const tstring& subkey, Mode mode);

    /// Returns the path as logs show it: "HKLM64\Software\Halvorex\QVR".
    const tstring& name() const { return name_; }

    /// Returns whether the subkey can be opened for reading. Never throws.
    bool hasSubkey(const tstring& subkey) const;

    /// Returns whether the value exists and stores its type in `type`. Never throws.
    bool hasValue(const tstring& valuePath, DWORD* type = nullptr) const;

    /// Returns the raw data of a value and stores its type in `type`.
    std::vector<BYTE> getValue(const tstring& valuePath, DWORD& type) const;

    /// Returns the string of a REG_SZ or REG_EXPAND_SZ value, not expanded, without one terminating
    /// NUL. Throws std::runtime_error for another type.
    tstring getString(const tstring& valuePath) const;

    /// The same, but returns `fallback` where it would throw.
    tstring getString(const tstring& valuePath, const tstring& fallback) const;

    /// Writes a REG_SZ or a REG_EXPAND_SZ value. Missing subkeys are created.
    void setString(const tstring& valuePath, const tstring& value) const;
    void setExpandString(const tstring& valuePath, const tstring& value) const;

    /// Deletes a value and returns the Win32 status. Creates no key. The library itself doesn't use
    /// it.
    LSTATUS deleteValue(const tstring& valuePath) const;

    /// Deletes a value of this key; `name` is not a path, whatever characters it contains.
    LSTATUS deleteNamedValue(const tstring& name) const;

    /// Deletes a key without subkeys and returns the Win32 status.
    LSTATUS deleteSubkey(const tstring& subkey) const;

    /// Deletes a key with all its contents and returns the Win32 status.
    LSTATUS tryDeleteKeyTree(const tstring& subkey) const;

    /// The same, but throws if the key remains. A key that doesn't exist is no failure.
    void deleteKeyTree(const tstring& subkey) const;

    /// Returns the names of the direct subkeys, or of the values, in the order of enumeration.
    std::vector<tstring> getSubkeyNames() const;
    std::vector<tstring> getValueNames() const;

private:
    void close() noexcept;
    void setText(const tstring& valuePath, const tstring& value, DWORD type, const TCHAR* words,
                 const SourceLocation& where) const;

    HKEY key_;
    bool owned_;
    REGSAM view_;
    tstring name_;
};

/// The predefined keys, opened before any action runs. HKC is unused.
extern const Registry HKLM;
extern const Registry HKLM32;
extern const Registry HKLM64;
extern const Registry HKCU32;
extern const Registry HKCU64;
extern const Registry HKC;
