// Copies of the test's own process: one goes its own way from a point on, and ends with a report.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace sweep {

/// A copy of the running process made by fork(). It has everything that the process had at that
/// point, and nothing that it does reaches the original but its report.
class ProcessCopy {
public:
    struct Result {
        std::vector<std::string> report;
        std::string failure;  ///< how the copy ended without a report; empty if it reported
    };

    /// Makes the copy. Returns nothing in the copy; in the original, waits for the copy to end and
    /// returns how it did. A copy that runs for more than some minutes is ended.
    std::optional<Result> start();

    /// Ends the copy with its report, of which no line has a line break.
    [[noreturn]] void finish(const std::vector<std::string>& report);

private:
    int pipe_ = -1;
};

}  // namespace sweep
