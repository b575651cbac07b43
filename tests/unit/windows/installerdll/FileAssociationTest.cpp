#include "windows/installerdll/FileAssociation.h"

#include "unit/windows/installerdll/Family.h"
#include "windows/installerdll/RegistryUtils.h"

using namespace family;

namespace {

const tstring kVkrCommand = kClasses + u"\\vkrfile\\shell\\open\\command";
const tstring kZpmCommand = kClasses + u"\\zpmfile\\shell\\open\\command";

TEST(FileAssociation, OpensFilesWithTheLatestProduct) {
    const struct {
        const char* name;
        std::vector<Product> installed;
        std::string vkrCommand = kNone;
        std::string zpmCommand = kNone;
    } cases[] = {
        {.name = "a runtime alone",
         .installed = {qvr("1.7.0_05")},
         .vkrCommand = R"("C:\Program Files\Norv\QVR-1.7.0_05\bin\norvw.exe" -vkr "%1" %*)"},
        {.name = "a later kit of the other architecture, without Zepmark",
         .installed = {qvr("9"), qvk("10", 32)},
         .vkrCommand = R"("C:\Program Files (x86)\Norv\QVK-10\bin\norvw.exe" -vkr "%1" %*)"},
        {.name = "of equal versions the runtime",
         .installed = {qvr("17", 32), withZepmark(qvk("17"))},
         .vkrCommand = R"("C:\Program Files (x86)\Norv\QVR-17\bin\norvw.exe" -vkr "%1" %*)",
         .zpmCommand = R"("C:\Program Files\Norv\QVK-17\bin\wmq.exe" -open "%1" %*)"},
        {.name = "no product", .installed = {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Family pc(c.installed);
        pc.handle(RegistryManager());
        EXPECT_EQ(pc.value(kVkrCommand, u""), c.vkrCommand);
        EXPECT_EQ(pc.value(kZpmCommand, u""), c.zpmCommand);
    }
}

TEST(FileAssociation, KeepsWhatOthersWroteUntilTheLastProductIsRemoved) {
    Family pc({qvr("17"), withZepmark(qvk("17"))});
    pc.machine.registry.setString(View::Bits64, kClasses + u"\\vkrfile\\shell\\edit", u"", u"x");
    pc.machine.registry.setString(View::Bits64, kClasses + u"\\.vkr", u"own", u"x");
    pc.handle(RegistryManager());
    EXPECT_EQ(pc.value(kClasses + u"\\.vkr", u""), "vkrfile");
    EXPECT_EQ(pc.value(kClasses + u"\\.vkr", u"own"), "x");
    EXPECT_EQ(pc.value(kClasses + u"\\vkrfile", u""), "Executable Vkr File");
    EXPECT_EQ(pc.value(kClasses + u"\\vkrfile\\shell\\edit", u""), "x");
    EXPECT_EQ(pc.value(kClasses + u"\\.zpm", u""), "zpmfile");
    EXPECT_EQ(pc.value(kClasses + u"\\zpmfile", u""), "Norv Zepmark File");

    pc.listed.clear();
    pc.handle(RegistryManager());
    EXPECT_EQ(pc.subkeys(kClasses + u"\\.vkr"), Strings{kNone});
    EXPECT_EQ(pc.subkeys(kClasses + u"\\vkrfile"), Strings{kNone});
    EXPECT_EQ(pc.subkeys(kClasses + u"\\.zpm"), Strings{kNone});
    EXPECT_EQ(pc.subkeys(kClasses + u"\\zpmfile"), Strings{kNone});
}

}  // namespace
