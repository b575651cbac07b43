#include "windows/common/Guid.h"

#include <stdexcept>

#include "common/share/Text.h"
#include "support/OnMachine.h"

namespace {

using GuidTest = OnMachine;

constexpr const TCHAR* kRegistryForm = _T("{26A24AE4-039D-4CA4-87B4-2F64180451F0}");

TEST_F(GuidTest, ReadsEachForm) {
    for (const TCHAR* text :
         {kRegistryForm, _T("26A24AE4-039D-4CA4-87B4-2F64180451F0"),
          _T("26A24AE4039D4CA487B42F64180451F0"), _T("{26A24AE4039D4CA487B42F64180451F0}"),
          _T("26a24ae4039d4ca487b42f64180451f0")}) {
        EXPECT_EQ(Guid(tstring(text)).toString(), kRegistryForm);
    }
}

TEST_F(GuidTest, RefusesAnythingElse) {
    for (const TCHAR* text : {
             _T(""),
             _T("x"),
             _T("26A24AE4039D4CA487B42F64180451F"),        // 31 digits
             _T("26A24AE4039D4CA487B42F64180451F0A"),      // 33
             _T("{26A24AE4-039D-4CA4-87B4-2F64180451F0"),  // a brace on one side
             _T("26A24AE4-039D-4CA4-87B4-2F64180451F0}"),
             _T("{26A24AE4039D4CA487B42F64180451F0"),
             _T("26A24AE4-039D4CA487B42F64180451F0"),  // one dash
             _T("{26A24AE4-039D-4CA4-87B4-2F64180451FG}"),
             _T("{26A24AE4x039D-4CA4-87B4-2F64180451F0}"),
             _T("{{26A24AE4-039D-4CA4-87B4-2F64180451F0}}"),
         }) {
        const tstring given = text;
        EXPECT_EQ(thrownBy<std::runtime_error>([&] { Guid{given}; }),
                  (Text() << _T("Guid.cpp at `anonymous-namespace'::initGuid(): IIDFromString(")
                          << given << _T(") failed"))
                      .utf8());
    }
}

TEST_F(GuidTest, ComparesAndGenerates) {
    EXPECT_TRUE(Guid().isEmpty());
    EXPECT_EQ(Guid().toString(), _T("{00000000-0000-0000-0000-000000000000}"));
    const Guid made = Guid::generate();
    EXPECT_FALSE(made.isEmpty());
    EXPECT_EQ(made, Guid(made.toString()));
    EXPECT_NE(made, Guid::generate());
    EXPECT_TRUE(Guid() < made && !(made < Guid()) && !(made < made));

    machine.calls.failCall("CoCreateGuid", 1);
    EXPECT_EQ(thrownBy<std::runtime_error>([] { Guid::generate(); }),
              "Guid.cpp at Guid::generate(): CoCreateGuid() failed");
    machine.calls.failCall("StringFromGUID2", 1);
    EXPECT_EQ(thrownBy<std::runtime_error>([&] { made.toString(); }),
              "Guid.cpp at Guid::toString(): StringFromGUID2() failed");
}

}  // namespace
