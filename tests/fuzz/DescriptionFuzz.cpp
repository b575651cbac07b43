// The dry run's reader with any text. What it takes, it writes as text that makes the same machine.
#include "dryrun/Description.h"
#include "fuzz/Fuzz.h"

void fuzz(const std::string& input) {
    Json written;
    try {
        const Json read = parseJson("fuzz", input);
        DescribedMachine first;
        addDescription(first, Node("fuzz", read));
        written = writeDescription(first);
    } catch (const BadInput& e) {
        require(std::string(e.what()).find(": expected ") != std::string::npos);
        return;
    }
    DescribedMachine second;
    addDescription(second, Node("written", written));
    require(writeDescription(second) == written);
}
