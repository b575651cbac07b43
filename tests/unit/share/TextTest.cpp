#include "common/share/Text.h"

#include <gtest/gtest.h>

namespace {

TEST(Text, WritesEveryKindOfPiece) {
    const Text text = Text() << _T("a") << tstring(_T("b")) << "\xE6\x97\xA5" << -5 << 7u << true
                             << static_cast<const TCHAR*>(nullptr) << Hex{0x2A, 4}
                             << Hex{0xAB, 2, true};
    EXPECT_EQ(text.str(), _T("ab\u65E5-571NULL002aAB"));
    EXPECT_EQ(text.utf8(), "ab\xE6\x97\xA5-571NULL002aAB");
}

TEST(Text, ReplacesWhatIsNoUnicode) {
    EXPECT_EQ((Text() << "x\xFFy\xE6\x97").str(), _T("x\uFFFDy\uFFFD\uFFFD"));
    const tstring lone{_T('a'), static_cast<TCHAR>(0xD800), _T('b')};
    EXPECT_EQ((Text() << lone).utf8(), "a\xEF\xBF\xBD" "b");
    EXPECT_EQ((Text() << "\xF0\x9F\x98\x80").utf8(), "\xF0\x9F\x98\x80");
}

}  // namespace
