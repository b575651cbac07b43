// The one door to the registry: a key that knows how it was reached, so that log and errors name
// its whole path and the registry view.
//
//     Registry key(HKLM64, _T("Software\\Classes"), Registry::Mode::Write);
//     key.setString(_T("vkrfile\\"), _T("Norv file"));   // the default value of Classes\vkrfile
//
// A value path is a value name that may carry subkeys in front of it. It is split at its last
// separator, backslash or forward slash; one that ends in a separator names a default value.
// Operations that throw throw SysError, unless said otherwise.
#pragma once

#include <vector>

#include "common/share/PmtError.h"
#include "common/share/tstring.h"

class Registry {
public:
    enum class Mode {
        Read = 0,   ///< opens a key that exists, for reading
        Write = 1,  ///< creates the key or opens it, for reading and writing
    };

    /// A predefined key. `view` is 0, KEY_WOW64_32KEY or KEY_WOW64_64KEY and holds for every key
    /// below; on a 64-bit system the view's number is added to `name`.
    Registry(HKEY root, REGSAM view, const tstring& name);

    /// A key below another.
    Registry(const Registry& parent, const tstring& subkey, Mode mode);

    Registry(Registry&& other) noexcept;
    Registry& operator=(Registry&& other) noexcept;
    ~Registry();

    /// Makes this object the key `subkey` below the key that it was. It stays what it was when that
    /// throws.
    void open(const tstring& subkey, Mode mode);

    /// The path as the log shows it: "HKLM64\Software\Halvorex\QVR".
    const tstring& name() const { return name_; }

    /// Whether the subkey can be opened for reading. Never throws.
    bool hasSubkey(const tstring& subkey) const;

    /// Whether the value exists; its type goes to `type`. Never throws.
    bool hasValue(const tstring& valuePath, DWORD* type = nullptr) const;

    /// The raw data of a value; its type goes to `type`.
    std::vector<BYTE> getValue(const tstring& valuePath, DWORD& type) const;

    /// The text of a REG_SZ or REG_EXPAND_SZ value, not expanded, without one terminating NUL.
    /// Another type is a std::runtime_error.
    tstring getString(const tstring& valuePath) const;

    /// The same; whatever std::exception that throws gives `fallback`.
    tstring getString(const tstring& valuePath, const tstring& fallback) const;

    /// Write a REG_SZ or a REG_EXPAND_SZ value. Missing subkeys are created.
    void setString(const tstring& valuePath, const tstring& value) const;
    void setExpandString(const tstring& valuePath, const tstring& value) const;

    /// Deletes a value and gives the Win32 status. No key is created on the way. Nothing in the
    /// library calls this.
    LSTATUS deleteValue(const tstring& valuePath) const;

    /// Deletes the value of this very key that has the name, which is no path whatever it holds.
    LSTATUS deleteNamedValue(const tstring& name) const;

    /// Deletes a key that has no subkeys and gives the Win32 status.
    LSTATUS deleteSubkey(const tstring& subkey) const;

    /// Deletes a key with all it holds and gives the Win32 status.
    LSTATUS tryDeleteKeyTree(const tstring& subkey) const;

    /// The same; throws when the key stays. A key that isn't there is no failure.
    void deleteKeyTree(const tstring& subkey) const;

    /// The names of the direct subkeys, or of the values, in the order of enumeration.
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

/// The predefined keys, as they are before any action runs. Nothing reads HKC.
extern const Registry HKLM;
extern const Registry HKLM32;
extern const Registry HKLM64;
extern const Registry HKCU32;
extern const Registry HKCU64;
extern const Registry HKC;
