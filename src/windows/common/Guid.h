// The value type of product codes and upgrade codes.
#pragma once

#include "common/share/tstring.h"

/// A GUID of 16 bytes; all zero means none.
class Guid {
public:
    Guid() : value_{} {}
    explicit Guid(const GUID& value) : value_(value) {}

    /// Parses the registry form, "{26A24AE4-039D-4CA4-87B4-2F64180451F0}", the same without braces,
    /// or its 32 digits alone. Throws std::runtime_error if the text is not a GUID.
    explicit Guid(const tstring& text);

    /// Returns the registry form: 38 characters, upper-case digits. Throws std::runtime_error.
    tstring toString() const;

    /// Returns a new GUID. Throws std::runtime_error.
    static Guid generate();

    bool isEmpty() const { return *this == Guid(); }
    const GUID& value() const { return value_; }

    /// Comparisons are by the 16 bytes.
    friend bool operator==(const Guid& a, const Guid& b) { return compare(a, b) == 0; }
    friend bool operator!=(const Guid& a, const Guid& b) { return compare(a, b) != 0; }
    friend bool operator<(const Guid& a, const Guid& b) { return compare(a, b) < 0; }

private:
    static int compare(const Guid& a, const Guid& b) {
        return __builtin_memcmp(&a.value_, &b.value_, sizeof(GUID));
    }

    GUID value_;
};
