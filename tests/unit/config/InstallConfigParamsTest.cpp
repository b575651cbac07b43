#include "windows/common/InstallConfigParams.h"

#include <gtest/gtest.h>

namespace {

TEST(InstallConfigParams, ArgumentsFindTheirKey) {
    const std::vector<ParamDescriptor> params = makeParamTable();
    // The argument and its key, which is empty for none.
    const std::pair<const char*, const char*> cases[] = {{"installdir=", "INSTALLDIR"},
                                                         {"InstallDir:x=y", "INSTALLDIR"},
                                                         {"INSTALLDIR =x", ""},
                                                         {"/S", "/s"},
                                                         {"/silent", ""},
                                                         {"/L*v", "/l"},
                                                         {"/lang", "/l"},
                                                         {"/lang=1033", "/lang"},
                                                         {"-DOWNLOAD", "-download"},
                                                         {"=x", ""},
                                                         {"C:\\setup.exe", ""}};
    for (const auto& [argument, key] : cases) {
        const ParamDescriptor* found = findParam(params, argument);
        EXPECT_STREQ(found ? found->name : "", key) << argument;
    }
}

}  // namespace
