#include "windows/common/Guid.h"

#include <objbase.h>

#include <stdexcept>

#include "common/share/PmtError.h"
#include "common/share/Text.h"

namespace {

constexpr std::size_t kRegistryFormLength = 38;
constexpr std::size_t kDigits = 32;
constexpr int kTextSize = 128;

GUID initGuid(const tstring& text) {
    GUID value = {};
    if (FAILED(IIDFromString(text.c_str(), &value))) {
        raise<std::runtime_error>("`anonymous-namespace'::initGuid",
                                  Text() << _T("IIDFromString(") << text << _T(") failed"));
    }
    return value;
}

/// Adds the braces and dashes that the text left out; returns it unchanged if that doesn't give it
/// the length of the registry form.
tstring completed(const tstring& text) {
    const bool opened = text.front() == _T('{');
    const bool closed = text.back() == _T('}');
    tstring copy = text;
    if (!opened && !closed) {
        copy = _T("{") + copy + _T("}");
    }
    if (text.find(_T('-')) == tstring::npos) {
        for (const std::size_t offset : {9, 14, 19, 24}) {
            copy.insert(offset, 1, _T('-'));
        }
    }
    return copy.size() == kRegistryFormLength ? copy : text;
}

}  // namespace

Guid::Guid(const tstring& text)
    : value_(initGuid(text.size() < kDigits ? text : completed(text))) {}

tstring Guid::toString() const {
    TCHAR text[kTextSize] = {};
    const int size = StringFromGUID2(value_, text, kTextSize);
    if (size < 3) {
        raise<std::runtime_error>("Guid::toString", "StringFromGUID2() failed");
    }
    return text;
}

Guid Guid::generate() {
    GUID value = {};
    if (FAILED(CoCreateGuid(&value))) {
        raise<std::runtime_error>("Guid::generate", "CoCreateGuid() failed");
    }
    return Guid(value);
}
