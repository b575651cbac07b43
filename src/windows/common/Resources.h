// Resources of a loaded module.
#pragma once

#include <windows.h>

#include "common/share/tstring.h"

/// A resource with an identifier. The module must stay loaded.
class Resource {
public:
    /// The string with that identifier.
    Resource(UINT id, HMODULE module);
    Resource(LPCWSTR name, LPCWSTR type, HMODULE module);

    /// Returns the resource's data in the module and stores its size in bytes. A string is not
    /// terminated; one that is missing from its block has size 0. Throws SysError if the module
    /// doesn't have the resource.
    const void* getPtr(DWORD& size) const;

    /// Returns the resource as a string.
    tstring toString() const;

private:
    tstring nameText_;
    LPCWSTR name_;
    tstring typeText_;
    LPCWSTR type_;
    HMODULE module_;
};
