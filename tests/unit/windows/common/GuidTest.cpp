#include "windows/common/Guid.h"

#include "support/OnMachine.h"
#include "support/Thrown.h"

namespace {

using GuidTest = OnMachine;

TEST_F(GuidTest, IsReadWithAndWithoutBracesAndHyphens) {
    for (const TCHAR* text :
         {u"26A24AE4-039D-4CA4-87B4-2F64180451F0", u"{26A24AE4039D4CA487B42F64180451F0}",
          u"26a24ae4039d4ca487b42f64180451f0"}) {
        EXPECT_EQ(Guid(text).toString(), u"{26A24AE4-039D-4CA4-87B4-2F64180451F0}");
    }
}

TEST_F(GuidTest, RefusesOtherTexts) {
    for (const std::string text :
         {"", "26A24AE4039D4CA487B42F64180451F", "26A24AE4-039D-4CA4-87B4-2F64180451F0}"}) {
        EXPECT_EQ(thrownText([&] { Guid{simulated::fromUtf8(text)}; }),
                  "IIDFromString(" + text + ") failed");
    }
}

TEST_F(GuidTest, IsEmptyOrNew) {
    EXPECT_TRUE(Guid().isEmpty());
    EXPECT_NE(Guid::generate().toString(), Guid::generate().toString());
}

}  // namespace
