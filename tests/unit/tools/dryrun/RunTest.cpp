// Outcomes: what they say beside the status, and their reports.
#include "dryrun/Run.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "dryrun/HtmlReport.h"
#include "dryrun/TextReport.h"
#include "simulated/machine/Wide.h"

namespace {

constexpr const char* kRuntime =
    R"({"products":[{"type":"QVR","version":"1.8.0_451-b10"}],)"
    R"("unread":[{"what":"C:\\Windows\\System32\\WindowsAssistLink-64.dll","status":5}]})";
const std::string kRuntimeCode = "{26A24AE4-039D-4CA4-87B4-2F64180451F0}";

Request updateOf(const std::string& code, const std::string& description) {
    return {.machine = {"m.json", description},
            .removedCodes = {},
            .added = {},
            .action = "SetLatestQvr",
            .properties = {"CustomActionData=ProductCode=" + code},
            .failure = ""};
}

Json run(const Request& request) {
    DescribedMachine described;
    arrangeMachine(request, described);
    return runAction(request, described);
}

TEST(RunOutcome, NameWhatCouldNotBeReadAndWhatDependsOnIt) {
    const Json outcome = run(updateOf(kRuntimeCode, kRuntime));
    ASSERT_EQ(outcome["unread"].size(), 1u);
    EXPECT_EQ(outcome["unread"][0]["affects"], "The bridge libraries depend on it.");
}

TEST(RunOutcome, LeaveOutWhatTheActionDoesNotRead) {
    Request request = updateOf(kRuntimeCode, kRuntime);
    request.action = "MSIValidateInstallDir";
    request.properties = {"INSTALLDIR=C:\\new"};
    const Json outcome = run(request);
    EXPECT_EQ(outcome["unread"], Json::array());
    EXPECT_EQ(outcome["notes"],
              Json::array({"INSTALLDIR: C:\\new isn't described, so it is taken as missing."}));
}

TEST(RunOutcome, ShowAChangeOfTypeAlone) {
    const std::string number = R"({"registry":{"HKLM\\Software\\x":{"v":21}}})";
    const std::string text = R"({"registry":{"HKLM\\Software\\x":{"v":"21"}}})";
    const Json changes = compareDescriptions({"a", number}, {"b", text})["changes"];
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0]["sign"], "~");
    EXPECT_EQ(changes[0]["before"], "21 (REG_DWORD)");
    EXPECT_EQ(changes[0]["after"], "21");
}

TEST(RunOutcome, AnOrdinaryUserCannotWriteTheCommonStartMenu) {
    const std::string user = R"({"process":{"administrator":false},)";
    const Json outcome = run(updateOf(kRuntimeCode, user + std::string(kRuntime).substr(1)));
    EXPECT_EQ(outcome["changes"], Json::array());
}

TEST(RunOutcome, AddedProductsTakeTheirPlaceByPackedCode) {
    const auto product = [](const char* code) {
        return std::string("{\"products\":[{\"code\":\"{") + code +
               "-2B0C-4B7E-9A55-006402000003}\"}]}";
    };
    Request request = updateOf(kRuntimeCode, product("30000002"));
    request.added = {{"n.json", product("40000001")}};
    DescribedMachine described;
    arrangeMachine(request, described);
    const Json list = productList(described)["products"];
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0]["code"], "{40000001-2B0C-4B7E-9A55-006402000003}") << "packed 10000004";
}

TEST(RunReport, HaveLinesOf80Columns) {
    std::ostringstream text;
    printOutcome(text, run(updateOf(kRuntimeCode, kRuntime)), {});
    std::istringstream lines(text.str());
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(simulated::fromUtf8(line).size(), 80u) << line;
    }
}

TEST(RunReport, ThePageEscapesWhatItShows) {
    Request request = updateOf(kRuntimeCode, kRuntime);
    request.properties = {"CustomActionData=<b>&\""};
    const std::string page = htmlReport(run(request));
    EXPECT_NE(page.find("CustomActionData=&lt;b&gt;&amp;&quot;"), page.npos);
    EXPECT_EQ(page.find("<b>"), page.npos);
    EXPECT_EQ(page.find("<script"), page.npos);
}

}  // namespace
