// What every fuzz target begins with: a target is `fuzz`, called with one input after the other.
#pragma once

#include <cstdint>
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

/// A rule of a target: the run ends where it is broken.
inline void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// Whether the work ends without the exception by which input is refused.
template <class Work>
bool takes(Work work) {
    try {
        work();
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

/// The machine on which a target's inputs run, one after the other. Its log goes nowhere, where it
/// would only take time.
inline simulated::Machine& machine() {
    static simulated::Machine made;
    static const simulated::Running running(made);
    static TeeLogAppender none(nullptr, nullptr);
    Logger::instance().setAppender(&none);
    return made;
}
