// Resources of a loaded module.
#pragma once

#include <windows.h>

#include "common/share/tstring.h"

/// A resource by its identifier. The module must stay loaded.
class Resource {
public:
    /// The string of that identifier.
    Resource(UINT id, HMODULE module);
    Resource(LPCWSTR name, LPCWSTR type, HMODULE module);

    /// The resource's data in the module, and its size in bytes. A string is not terminated; one
    /// that its table leaves out has size 0. Throws SysError if the module lacks the resource.
    const void* getPtr(DWORD& size) const;

    /// The resource as text.
    tstring toString() const;

private:
    tstring nameText_;
    LPCWSTR name_;
    tstring typeText_;
    LPCWSTR type_;
    HMODULE module_;
};
