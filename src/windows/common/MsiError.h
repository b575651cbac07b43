// Exceptions for failed calls of the Windows Installer.
#pragma once

#include <windows.h>

#include <stdexcept>

#include "common/share/tstring.h"

namespace msi {

/// A failed call. `what()` has the message, the status and the installer's text for it.
class Error : public std::runtime_error {
public:
    Error(const tstring& text, UINT status);

    UINT status() const noexcept { return status_; }

private:
    UINT status_;
};

/// A fetch without a row. Its status is ERROR_NO_MORE_ITEMS.
class NoMoreItemsError : public Error {
public:
    explicit NoMoreItemsError(const tstring& text);
};

}  // namespace msi
