#include "support/LogReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

constexpr const char16_t* kLog = u"C:\\Users\\User\\AppData\\Local\\Temp\\tolmark.log";

std::vector<LogRecord> logRecords(const simulated::Machine& machine) {
    static const std::regex head(
        R"((\[\d{4}/\d\d/\d\d.* \(PID: .*TID: \d+\), (.*):(\d+) \((.*)\)\])\r\n\t(\w+): )");
    const std::string text = machine.volumes.content(kLog).value_or("");
    std::vector<LogRecord> records;
    for (std::size_t at = 0, end = 0; at < text.size(); at = end + 2) {
        end = std::min(text.find("\r\n[2", at), text.size() - 2);
        const std::string record = text.substr(at, end - at);
        std::smatch parts;
        EXPECT_TRUE(std::regex_search(record, parts, head, std::regex_constants::match_continuous))
            << record;
        records.push_back({parts[1], parts[2], std::stoi(parts[3]), parts[4], parts[5],
                           std::regex_replace(parts.suffix().str(), std::regex("\r\n"), "\n")});
    }
    return records;
}

std::vector<std::string> logMessages(const simulated::Machine& machine, const std::string& level) {
    std::vector<std::string> messages;
    for (const LogRecord& record : logRecords(machine)) {
        if (record.level == level) {
            messages.push_back(record.message);
        }
    }
    return messages;
}

bool logHas(const simulated::Machine& machine, const std::string& message) {
    return std::ranges::count(logRecords(machine), message, &LogRecord::message) > 0;
}

bool logMentions(const simulated::Machine& machine, const std::string& piece) {
    return std::ranges::any_of(logRecords(machine), [&](const LogRecord& record) {
        return record.message.find(piece) != std::string::npos;
    });
}

void clearLog(simulated::Machine& machine) {
    if (machine.volumes.exists(kLog)) {
        machine.volumes.remove(kLog);
    }
}
