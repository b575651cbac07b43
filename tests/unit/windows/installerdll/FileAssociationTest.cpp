#include "windows/installerdll/FileAssociation.h"

#include "builders/Product.h"
#include "unit/windows/installerdll/Family.h"
#include "windows/installerdll/RegistryUtils.h"

using namespace family;

namespace {

const tstring kVkrCommand = kClasses + u"\\vkrfile\\shell\\open\\command";
const tstring kZpmCommand = kClasses + u"\\zpmfile\\shell\\open\\command";

Product withZepmark(Product kit) {
    kit.files.push_back(u"bin\\wmq.exe");
    return kit;
}

TEST(FileAssociation, OpensFilesWithTheLatestProduct) {
    const struct {
        const char* name;
        std::vector<Product> installed;
        std::string vkrCommand = "none";
        std::string zpmCommand = "none";
    } cases[] = {
        {.name = "a runtime alone",
         .installed = {qvr("1.7.0_05")},
         .vkrCommand = R"("C:\Program Files\Norv\QVR-1.7.0_05\bin\norvw.exe" -vkr "%1" %*)"},
        {.name = "the latest of both types and schemes",
         .installed = {qvr("1.8.0_60"), qvr("1.8.0_51", 32), withZepmark(qvk("11")),
                       withZepmark(qvk("1.8.0-b1", 32))},
         .vkrCommand = R"("C:\Program Files\Norv\QVK-11\bin\norvw.exe" -vkr "%1" %*)",
         .zpmCommand = R"("C:\Program Files\Norv\QVK-11\bin\wmq.exe" -open "%1" %*)"},
        {.name = "a latest kit without Zepmark",
         .installed = {qvk("10")},
         .vkrCommand = R"("C:\Program Files\Norv\QVK-10\bin\norvw.exe" -vkr "%1" %*)"},
        {.name = "a 32-bit kit that is later than the 64-bit runtime",
         .installed = {qvr("11"), withZepmark(qvk("17", 32))},
         .vkrCommand = R"("C:\Program Files (x86)\Norv\QVK-17\bin\norvw.exe" -vkr "%1" %*)",
         .zpmCommand = R"("C:\Program Files (x86)\Norv\QVK-17\bin\wmq.exe" -open "%1" %*)"},
        {.name = "of equal versions the runtime",
         .installed = {qvr("17", 32), withZepmark(qvk("17"))},
         .vkrCommand = R"("C:\Program Files (x86)\Norv\QVR-17\bin\norvw.exe" -vkr "%1" %*)",
         .zpmCommand = R"("C:\Program Files\Norv\QVK-17\bin\wmq.exe" -open "%1" %*)"},
        {.name = "of equal versions and types the 64-bit one",
         .installed = {qvr("17"), qvr("17", 32), withZepmark(qvk("17")),
                       withZepmark(qvk("17", 32))},
         .vkrCommand = R"("C:\Program Files\Norv\QVR-17\bin\norvw.exe" -vkr "%1" %*)",
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

TEST(FileAssociation, KeepsWhatOthersWroteAndIsRemovedWithTheLastProduct) {
    Family pc({qvr("17"), withZepmark(qvk("17"))});
    for (const TCHAR* key :
         {u"\\.vkr", u"\\vkrfile", u"\\zpmfile\\shell\\edit", u"\\Applications\\norv.exe"}) {
        pc.machine.registry.setString(View::Bits64, kClasses + key, u"own", u"x");
    }
    pc.handle(RegistryManager());
    EXPECT_EQ(pc.tree(kClasses + u"\\.vkr"), "[own=x|=vkrfile]");
    EXPECT_EQ(pc.tree(kClasses + u"\\.zpm"), "[=zpmfile]");
    EXPECT_EQ(pc.tree(kClasses + u"\\Applications"),
              "{norv.exe[own=x|IsHostApp=] norvw.exe[IsHostApp=]}");
    EXPECT_EQ(pc.value(kClasses + u"\\vkrfile", u""), "Executable Vkr File");
    EXPECT_EQ(pc.value(kClasses + u"\\vkrfile", u"own"), "x");
    EXPECT_EQ(pc.value(kClasses + u"\\zpmfile", u""), "Norv Zepmark File");
    EXPECT_EQ(pc.value(kClasses + u"\\zpmfile\\shell\\edit", u"own"), "x");

    pc.listed.clear();
    EXPECT_TRUE(pc.update());
    EXPECT_EQ(pc.tree(kClasses), "{Applications CLSID Wow6432Node{CLSID}}");
}

}  // namespace
