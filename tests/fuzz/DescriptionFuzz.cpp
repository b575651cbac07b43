// The dry run's reader with any text. A description that it takes is one that it writes again: what
// the machine is written as makes a machine that is written the same.
#include <cstdint>
#include <string>

#include "dryrun/Description.h"
#include "fuzz/Require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Json written;
    try {
        const Json read = parseJson("fuzz", std::string(reinterpret_cast<const char*>(data), size));
        DescribedMachine first;
        addDescription(first, Node("fuzz", read));
        written = writeDescription(first);
    } catch (const BadInput& e) {
        require(std::string(e.what()).find(": expected ") != std::string::npos);
        return 0;
    }
    DescribedMachine second;
    addDescription(second, Node("written", written));
    require(writeDescription(second) == written);
    return 0;
}
