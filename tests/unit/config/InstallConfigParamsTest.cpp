#include "windows/common/InstallConfigParams.h"

#include <gtest/gtest.h>

namespace {

TEST(InstallConfigParams, ArgumentsFindTheirKey) {
    const std::vector<ParamDescriptor> params = makeParamTable();
    const struct {
        const char* argument;
        const char* key;  // empty: none
    } cases[] = {
        {"INSTALLDIR=C:\\x", "INSTALLDIR"},
        {"installdir=", "INSTALLDIR"},
        {"InstallDir:x=y", "INSTALLDIR"},
        {"INSTALLDIR", ""},
        {"INSTALLDIR =x", ""},
        {"INSTALLDIRX=1", ""},
        {"productcode={1}", "ProductCode"},
        {"/installdirpubqvr=C:\\x", "/INSTALLDIRPUBQVR"},
        {"/s", "/s"},
        {"/S", "/s"},
        {"/s=1", ""},
        {"/silent", ""},
        {"/qn", "/q"},
        {"/QN!", "/q"},
        {"/q:n", ""},
        {"/L*v", "/l"},
        {"/lang", "/l"},
        {"/lang=1033", "/lang"},
        {"-DOWNLOAD", "-download"},
        {"-no_override", "-no_override"},
        {"-no_override=1", ""},
        {"=x", ""},
        {":", ""},
        {"C:\\setup.exe", ""},
    };
    for (const auto& c : cases) {
        const ParamDescriptor* found = findParam(params, c.argument);
        EXPECT_STREQ(found ? found->name : "", c.key) << c.argument;
    }
}

TEST(InstallConfigParams, NamesStandInTheTable) {
    const std::vector<ParamDescriptor> params = makeParamTable();
    EXPECT_EQ(params.size(), 37u);
    for (int i = 0; i < kStringParams; ++i) {
        const char* name = paramName(static_cast<StringParam>(i));
        const ParamDescriptor* found = findParam(params, std::string(name) + "=");
        EXPECT_STREQ(found ? found->name : "", name);
    }
    EXPECT_STREQ(paramName(FlagParam::NoStartMenu), "NOSTARTMENU");
    EXPECT_STREQ(paramName(FlagParam::RemoveOlderQvrs), "REMOVEOLDERQVRS");
    EXPECT_STREQ(paramName(FlagParam::RetainDqxFiles), "RETAIN_DQX_FILES");
    EXPECT_STREQ(paramName(StringParam::ProductCode), "ProductCode");
    EXPECT_STREQ(paramName(StringParam::BaseImageChecksumSha256), "BASEIMAGECHECKSUMSHA256");
}

}  // namespace
