#include "windows/common/Crypto.h"

#include <stdexcept>

#include "common/share/PmtError.h"
#include "common/share/Text.h"

const tstring& verifyChecksumString(const tstring& value, const std::string& algorithm) {
    constexpr std::size_t kLength = 64;
    if (value.size() != kLength) {
        throw PmtError<std::runtime_error>(
            std::runtime_error((Text() << _T("Unexpected length of ") << value << _T(" ")
                                       << algorithm << _T(" hash string."))
                                   .utf8()),
            "verifyChecksumString");
    }
    if (value.find_first_not_of(_T("abcdef1234567890")) != tstring::npos) {
        throw PmtError<std::runtime_error>(
            std::runtime_error((Text() << _T("Illegal character in ") << value << _T(" ")
                                       << algorithm << _T(" hash string."))
                                   .utf8()),
            "verifyChecksumString");
    }
    return value;
}
