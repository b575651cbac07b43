// What every fuzz target begins with: a target is `fuzz`, called with one input after the other.
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "common/share/Logger.h"
#include "simulated/machine/Machine.h"

void fuzz(const std::string& input);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz(std::string(data, data + size));
    return 0;
}

/// Ends the run where a rule of the target is broken, with a line that names both; libFuzzer then
/// writes the input. Standard error is closed: the library under test writes to it.
inline void require(bool holds, const char* rule) {
    if (!holds) {
        std::printf("%s: broken rule: %s\n", program_invocation_short_name, rule);
        std::fflush(stdout);
        std::abort();
    }
}

/// Returns whether the work ends without the exception by which input is refused.
template <class Work>
bool isAccepted(Work work) {
    try {
        work();
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

/// The machine on which a target's inputs run, one after the other. Its log is discarded,
/// because writing it takes time.
inline simulated::Machine& machine() {
    static simulated::Machine made;
    static const simulated::Running running(made);
    static TeeLogAppender none(nullptr, nullptr);
    Logger::instance().setAppender(&none);
    return made;
}
