#include "sweep/ProcessCopy.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace sweep {

namespace {

/// For a copy that hangs; beside busy processes one takes less than a second.
constexpr unsigned kSecondsOfACopy = 300;

/// Ends the report of a copy that came to its end.
const std::string kEnd = "end";

void require(bool holds, const char* call) {
    if (!holds) {
        std::perror(call);
        std::abort();
    }
}

std::vector<std::string> readLines(int pipe) {
    std::string text;
    char buffer[4096];
    for (ssize_t size = 0; (size = read(pipe, buffer, sizeof(buffer))) > 0;) {
        text.append(buffer, static_cast<std::size_t>(size));
    }
    std::vector<std::string> lines;
    for (std::size_t start = 0, end = 0; (end = text.find('\n', start)) != std::string::npos;
         start = end + 1) {
        lines.push_back(text.substr(start, end - start));
    }
    return lines;
}

std::string failureOf(int status) {
    if (WIFSIGNALED(status)) {
        return "the process died of signal " + std::to_string(WTERMSIG(status));
    }
    return "the process ended with exit code " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

std::optional<ProcessCopy::Result> ProcessCopy::start() {
    int ends[2];
    require(pipe(ends) == 0, "pipe");
    // What is still in the buffer would be written by both.
    std::fflush(stdout);
    const pid_t copy = fork();
    require(copy >= 0, "fork");
    if (copy == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        alarm(kSecondsOfACopy);
        close(ends[0]);
        pipe_ = ends[1];
        return std::nullopt;
    }
    close(ends[1]);
    Result result;
    result.report = readLines(ends[0]);
    close(ends[0]);
    int status = 0;
    require(waitpid(copy, &status, 0) == copy, "waitpid");
    if (result.report.empty() || result.report.back() != kEnd) {
        result.failure = failureOf(status);
        return result;
    }
    result.report.pop_back();
    return result;
}

void ProcessCopy::finish(const std::vector<std::string>& report) {
    std::string text;
    for (const std::string& line : report) {
        text += line + "\n";
    }
    text += kEnd + "\n";
    for (std::size_t written = 0; written < text.size();) {
        const ssize_t size = write(pipe_, text.data() + written, text.size() - written);
        require(size > 0, "write");
        written += static_cast<std::size_t>(size);
    }
    std::fflush(stdout);
    _exit(0);
}

}  // namespace sweep
