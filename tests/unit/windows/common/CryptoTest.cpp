#include "windows/common/Crypto.h"

#include <gtest/gtest.h>

#include "support/Thrown.h"

namespace {

const tstring kHash = _T("0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef");

TEST(Crypto, AcceptsAHashOf64LowerCaseDigits) {
    EXPECT_EQ(verifyChecksumString(kHash, "sha256"), kHash);
}

TEST(Crypto, RefusesOtherLengths) {
    EXPECT_EQ(thrownText([] { verifyChecksumString(kHash.substr(1), "sha256"); }),
              "Unexpected length of 123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef"
              " sha256 hash string.");
    EXPECT_EQ(thrownText([] { verifyChecksumString(kHash + _T("0"), "sha256"); }),
              "Unexpected length of "
              "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef0"
              " sha256 hash string.");
}

TEST(Crypto, RefusesOtherCharacters) {
    EXPECT_EQ(thrownText([] { verifyChecksumString(kHash.substr(1) + _T("F"), "sha256"); }),
              "Illegal character in "
              "123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdefF"
              " sha256 hash string.");
    EXPECT_EQ(thrownText([] { verifyChecksumString(_T("g") + kHash.substr(1), "sha256"); }),
              "Illegal character in "
              "g123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef"
              " sha256 hash string.");
}

}  // namespace
