// Any bytes as a zlib stream for an output of any length.
#include <cstdint>
#include <cstring>
#include <memory>

#include "fuzz/Require.h"
#include "zip/zip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const std::size_t outLength = data[0] | data[1] << 8;
    const std::size_t inLength = size - 2;
    // Blocks of exactly these lengths, so that each byte outside is noticed.
    const std::unique_ptr<char[]> in(new char[inLength]);
    std::memcpy(in.get(), data + 2, inLength);
    const std::unique_ptr<char[]> out(new char[outLength]);

    char* message = nullptr;
    const std::int32_t done =
        ZIP_InflateFully(in.get(), static_cast<std::int64_t>(inLength), out.get(),
                         static_cast<std::int64_t>(outLength), &message);
    require((done == 1) == (message == nullptr));
    return 0;
}
