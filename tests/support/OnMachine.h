// A test that runs on a machine of its own, and looks at what it logged.
#pragma once

#include <gtest/gtest.h>

#include <ranges>
#include <regex>

#include "simulated/machine/Machine.h"
#include "support/LogReader.h"

/// Takes the line numbers out of the places of throws: "FileUtils.cpp(12) at f()" becomes
/// "FileUtils.cpp at f()".
inline std::string withoutLines(const std::string& text) {
    static const std::regex line(R"((\.(?:cpp|h))\(\d+\))");
    return std::regex_replace(text, line, "$1");
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
        for (const LogRecord& r : records | std::views::drop(read_)) {
            lines.push_back(
                withoutLines(r.level + " " + r.file + " " + r.function + ": " + r.message));
        }
        read_ = std::ssize(records);
        return lines;
    }

private:
    std::ptrdiff_t read_ = 0;
};
