// The dry run's reader with any text. What it accepts, it writes as text that makes the same
// machine.
#include "dryrun/Description.h"
#include "fuzz/Fuzz.h"

void fuzz(const std::string& input) {
    Json written;
    try {
        const Json read = parseDescription("fuzz", input);
        DescribedMachine first;
        addDescription(first, "fuzz", read);
        written = writeDescription(first);
    } catch (const BadInput& e) {
        require(std::string(e.what()).find(": expected ") != std::string::npos,
                "a refusal says what was expected");
        return;
    }
    DescribedMachine second;
    expectDescription("written", written);
    addDescription(second, "written", written);
    require(writeDescription(second) == written, "a written description makes the same machine");
}
