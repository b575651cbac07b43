#include "common/share/LogException.h"

#include "support/OnMachine.h"

namespace {

using LogExceptionTest = OnMachine;
using Lines = std::vector<std::string>;

TEST_F(LogExceptionTest, AnExceptionIsLoggedAtItsCatchClause) {
    runLogged("a::b", [] { throw std::runtime_error("f\xC3\xBCr"); });
    EXPECT_EQ(log(), Lines{"ERROR LogExceptionTest.cpp a::b: Exception with message "
                           "'f\xC3\xBCr' caught"});
}

TEST_F(LogExceptionTest, AFailureReturnsTheFallback) {
    EXPECT_EQ(runLogged("a::c", 7, []() -> int { throw 1; }), 7);
    EXPECT_EQ(log(), Lines{"ERROR LogExceptionTest.cpp a::c: Unknown exception caught"});
}

TEST_F(LogExceptionTest, ASuccessReturnsItsValue) {
    EXPECT_EQ(runLogged("a::c", 7, [] { return 8; }), 8);
    EXPECT_EQ(log(), Lines());
}

}  // namespace
