#include "windows/common/Crypto.h"

#include <stdexcept>

#include "common/share/PmtError.h"
#include "common/share/Text.h"

const tstring& verifyChecksumString(const tstring& value, const std::string& algorithm) {
    constexpr std::size_t kLength = 64;
    const auto refuse = [&](const TCHAR* what, const SourceLocation& where) {
        raise<std::runtime_error>(
            where, Text() << what << value << _T(" ") << algorithm << _T(" hash string."));
    };
    if (value.size() != kLength) {
        refuse(_T("Unexpected length of "), "verifyChecksumString");
    }
    if (value.find_first_not_of(_T("abcdef1234567890")) != tstring::npos) {
        refuse(_T("Illegal character in "), "verifyChecksumString");
    }
    return value;
}
