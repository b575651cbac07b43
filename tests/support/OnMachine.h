// A test that runs on a machine of its own, and looks at what it threw and logged.
#pragma once

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "simulated/machine/Machine.h"
#include "support/LogReader.h"

/// Takes the line numbers out of the places of throws: "FileUtils.cpp(12) at f()" becomes
/// "FileUtils.cpp at f()".
inline std::string withoutLines(const std::string& text) {
    static const std::regex line(R"((\.(?:cpp|h))\(\d+\))");
    return std::regex_replace(text, line, "$1");
}

/// The text of the exception that the action throws, without its line; another one, or none, fails
/// the running test.
template <class Exception, class Action>
std::string thrownBy(Action action) {
    try {
        action();
    } catch (const Exception& e) {
        return withoutLines(e.what());
    } catch (const std::exception& e) {
        ADD_FAILURE() << "another exception: " << e.what();
        return {};
    }
    ADD_FAILURE() << "no exception";
    return {};
}

/// Each test leaves no handle open and no COM object held.
class OnMachine : public testing::Test {
protected:
    simulated::Machine machine;
    simulated::Running running{machine};

    void TearDown() override {
        EXPECT_EQ(machine.handles.open(), std::vector<std::string>());
        EXPECT_EQ(machine.shell.openObjects(), std::vector<std::string>());
        EXPECT_EQ(machine.shell.comStarts(), 0);
    }

    /// The log as "LEVEL File.cpp function: message", without lines, from the last call on.
    std::vector<std::string> log() {
        std::vector<std::string> lines;
        const std::vector<LogRecord> records = logRecords(machine);
        for (std::size_t i = read_; i < records.size(); ++i) {
            const LogRecord& r = records[i];
            lines.push_back(
                withoutLines(r.level + " " + r.file + " " + r.function + ": " + r.message));
        }
        read_ = records.size();
        return lines;
    }

private:
    std::size_t read_ = 0;
};
