#include "support/LogReader.h"

#include <gtest/gtest.h>

#include <regex>
#include <string_view>

namespace {

constexpr std::u16string_view kLogName = u"\\tolmark.log";

/// Empty without the file.
std::u16string logPath(const simulated::Machine& machine) {
    for (const std::u16string& path : machine.volumes.files()) {
        if (path.ends_with(kLogName)) {
            return path;
        }
    }
    return {};
}

std::string logText(const simulated::Machine& machine) {
    const std::u16string path = logPath(machine);
    return path.empty() ? std::string() : machine.volumes.content(path).value_or("");
}

/// The next line without its CR LF, and the text behind it.
std::string takeLine(std::string_view& text) {
    const auto end = text.find("\r\n");
    const std::string line(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 2);
    return line;
}

bool isHead(const std::string& line) {
    return line.size() > 30 && line[0] == '[' && line[5] == '/' && line[8] == '/' &&
           line.ends_with(")]") && line.find(" (PID: ") != std::string::npos;
}

LogRecord parseHead(const std::string& line) {
    static const std::regex pattern(R"(\[.*TID: \d+\), (.*):(\d+) \((.*)\)\])");
    LogRecord record;
    record.head = line;
    std::smatch parts;
    if (!std::regex_match(line, parts, pattern)) {
        ADD_FAILURE() << "no head of a log record: " << line;
        return record;
    }
    record.file = parts[1];
    record.line = std::stoi(parts[2]);
    record.function = parts[3];
    return record;
}

}  // namespace

std::vector<LogRecord> logRecords(const simulated::Machine& machine) {
    const std::string whole = logText(machine);
    std::string_view text = whole;
    std::vector<LogRecord> records;
    while (!text.empty()) {
        const std::string line = takeLine(text);
        if (isHead(line)) {
            records.push_back(parseHead(line));
            const std::string first = takeLine(text);
            const auto colon = first.find(": ");
            if (first.empty() || first[0] != '\t' || colon == std::string::npos) {
                ADD_FAILURE() << "no text of a log record: " << first;
                continue;
            }
            records.back().level = first.substr(1, colon - 1);
            records.back().message = first.substr(colon + 2);
        } else if (records.empty()) {
            ADD_FAILURE() << "text in front of the first record: " << line;
        } else {
            records.back().message += "\n" + line;
        }
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
    for (const LogRecord& record : logRecords(machine)) {
        if (record.message == message) {
            return true;
        }
    }
    return false;
}

bool logMentions(const simulated::Machine& machine, const std::string& piece) {
    for (const LogRecord& record : logRecords(machine)) {
        if (record.message.find(piece) != std::string::npos) {
            return true;
        }
    }
    return false;
}

void clearLog(simulated::Machine& machine) {
    const std::u16string path = logPath(machine);
    if (!path.empty()) {
        machine.volumes.remove(path);
    }
}
