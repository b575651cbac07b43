// The dry run as a WebAssembly module, which JavaScript calls once an instance.
#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

#include <emscripten.h>

#include "dryrun/CommandLine.h"

// clang-format off
/// Calls Module.print or Module.printErr with all the text that the program prints there.
EM_JS(void, hostPrint, (bool isError, const char* text, std::size_t size), {
    const bytes = HEAPU8.slice(text, text + size);
    (isError ? Module.printError : Module.printResult)(bytes);
});
// clang-format on

namespace {

std::vector<std::string> splitAtNul(const char* text, std::size_t size) {
    std::vector<std::string> parts;
    for (const char* const end = text + size; text != end;) {
        parts.emplace_back(text);
        text += parts.back().size() + 1;
    }
    return parts;
}

void print(bool isError, const std::string& text) {
    if (!text.empty()) {
        hostPrint(isError, text.data(), text.size());
    }
}

}  // namespace

/// Runs the program with these arguments, each with a NUL at its end. Returns its exit status.
extern "C" EMSCRIPTEN_KEEPALIVE int runDryRun(const char* arguments, std::size_t size,
                                              bool inColours) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = runCommandLine(splitAtNul(arguments, size), out, err, inColours);
    print(false, out.str());
    print(true, err.str());
    return status;
}
