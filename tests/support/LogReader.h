// Reads the log file of a simulated machine as a support engineer would: record by record.
#pragma once

#include <string>
#include <vector>

#include "simulated/machine/Machine.h"

/// One record of the log; all texts in UTF-8.
struct LogRecord {
    std::string head;  ///< the whole first line
    std::string file;  ///< source file, without directory
    int line;
    std::string function;
    std::string level;    ///< "TRACE", "INFO", "WARNING", "ERROR"
    std::string message;  ///< may hold line feeds
};

/// The records of "tolmark.log" in the user's temporary directory; empty without the file. A text
/// that isn't made of well-formed records fails the running test.
std::vector<LogRecord> logRecords(const simulated::Machine& machine);

/// The messages of those records of one level, in order.
std::vector<std::string> logMessages(const simulated::Machine& machine, const std::string& level);

/// Returns whether a record has exactly this message, or contains this part of it.
bool logHas(const simulated::Machine& machine, const std::string& message);
bool logMentions(const simulated::Machine& machine, const std::string& piece);

/// Deletes the file, so that a test may look at one case at a time.
void clearLog(simulated::Machine& machine);
