// Shows what an action of the library would do to a described Windows machine.
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string_view>

#include "dryrun/CommandLine.h"

namespace {

/// Whether standard output is a terminal whose user accepts colours (see no-color.org).
bool acceptsColours() {
    const char* const refusal = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    return isatty(STDOUT_FILENO) != 0 && (refusal == nullptr || *refusal == '\0') &&
           terminal != nullptr && std::string_view(terminal) != "dumb";
}

}  // namespace

int main(int argc, char** argv) {
    return runCommandLine({argv + 1, argv + argc}, std::cout, std::cerr, acceptsColours());
}
