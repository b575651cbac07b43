// Exit statuses and errors of the command line.
#include "dryrun/CommandLine.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

namespace {

struct Finished {
    int status;
    std::string out, err;
};

class CommandLineTest : public testing::Test {
protected:
    void SetUp() override {
        write("unread.json", R"({"unread":[{"what":"HKLM\\Software\\Halvorex","status":5}],)"
                             R"("products":[{"type":"QVR","version":"1.8.0_451-b10"}]})");
        write("empty.json", "{}");
    }

    std::string path(const std::string& name) const {
        return testing::TempDir() + "dryrun_" + name;
    }
    void write(const std::string& name, const std::string& text) const {
        std::ofstream(path(name)) << text;
    }
    static Finished run(const std::vector<std::string>& arguments) {
        std::ostringstream out, err;
        const int status = runCommandLine(arguments, out, err);
        return {status, out.str(), err.str()};
    }

    /// The arguments are refused with status 2 and one line.
    static void expectRefusal(const std::vector<std::string>& arguments) {
        const Finished finished = run(arguments);
        SCOPED_TRACE(finished.err);
        EXPECT_EQ(finished.status, 2);
        EXPECT_EQ(finished.out, "");
        EXPECT_EQ(finished.err.find('\n'), finished.err.size() - 1);
    }

    const std::string update =
        "CustomActionData=ProductCode={26A24AE4-039D-4CA4-87B4-2F64180451F0}";
};

TEST_F(CommandLineTest, ASuccessIs0AndAFailureOfTheAction1) {
    EXPECT_EQ(run({path("empty.json"), "MSIIsLocalSystemSupported"}).status, 0);
    EXPECT_EQ(run({path("empty.json"), "SetLatestQvr", update}).status, 1);
}

TEST_F(CommandLineTest, AnIncompleteDescriptionIs3UnlessAccepted) {
    EXPECT_EQ(run({path("unread.json"), "SetLatestQvr", update}).status, 3);
    EXPECT_EQ(run({path("unread.json"), "SetLatestQvr", update, "--incomplete"}).status, 0);
    EXPECT_EQ(run({path("unread.json"), "MSIIsLocalSystemSupported"}).status, 0)
        << "this action doesn't read it";
}

TEST_F(CommandLineTest, BadCallsAre2WithOneLine) {
    const std::vector<std::vector<std::string>> calls = {
        {},
        {"--bogus"},
        {path("none.json")},
        {path("empty.json"), "SetLatest"},
        {path("empty.json"), "SetLatestQvr", "INSTALLDIR=x"},
        {path("empty.json"), "--log"},
        {path("empty.json"), "--remove", "{x}"},
    };
    for (const auto& call : calls) {
        expectRefusal(call);
    }
}

TEST_F(CommandLineTest, AComparisonHasNoThirdMachine) {
    const std::string empty = path("empty.json");
    expectRefusal({empty, "--compare", empty, empty});
}

TEST_F(CommandLineTest, APlannedFailureHasAFunctionAndACallFromOneOn) {
    for (const char* failure : {":3", "CreateFileW:0"}) {
        expectRefusal({path("empty.json"), "SetLatestQvr", "--fail", failure});
    }
}

TEST_F(CommandLineTest, HelpNamesActionsAndExitStatuses) {
    const Finished finished = run({"--help"});
    EXPECT_EQ(finished.status, 0);
    for (const char* word : {"DisableAUUninstall", "MSISetImpersonate", "Exit status:"}) {
        EXPECT_NE(finished.out.find(word), std::string::npos) << word;
    }
}

}  // namespace
