#include "common/share/PmtError.h"

#include <gtest/gtest.h>

namespace {

TEST(PmtError, MessagesBeginWithThePlaceOfTheThrow) {
    for (const char* file : {"src/a\\MsiDb.cpp", "src\\a/MsiDb.cpp", "MsiDb.cpp"}) {
        const PmtError<std::runtime_error> error(std::runtime_error("text"), {"msi::f", file, 87});
        EXPECT_STREQ(error.what(), "MsiDb.cpp(87) at msi::f(): text");
    }
}

}  // namespace
