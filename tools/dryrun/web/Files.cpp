// Files are the host's: JavaScript reads and writes them for this module.
#include "dryrun/Files.h"

#include <cstdlib>

#include <emscripten.h>

// clang-format off
/// Calls Module.readFile, which returns the bytes or null. Returns them in memory that the caller
/// frees, with their number in `size`; null if there is no such file.
EM_JS(char*, hostReadFile, (const char* name, int nameSize, std::size_t* size), {
    const bytes = Module.readFile(UTF8ToString(name, nameSize));
    if (bytes === null) {
        return 0;
    }
    const memory = _malloc(bytes.length + 1);
    HEAPU8.set(bytes, memory);
    HEAPU32[size >> 2] = bytes.length;
    return memory;
});

/// Calls Module.writeFile, which returns whether it could.
EM_JS(bool, hostWriteFile, (const char* name, int nameSize, const char* bytes, std::size_t size), {
    return Module.writeFile(UTF8ToString(name, nameSize), HEAPU8.slice(bytes, bytes + size));
});
// clang-format on

std::optional<std::string> readFile(const std::string& name) {
    std::size_t size = 0;
    char* const memory = hostReadFile(name.data(), static_cast<int>(name.size()), &size);
    if (memory == nullptr) {
        return std::nullopt;
    }
    std::string bytes(memory, size);
    std::free(memory);
    return bytes;
}

bool writeFile(const std::string& name, const std::string& bytes) {
    return hostWriteFile(name.data(), static_cast<int>(name.size()), bytes.data(), bytes.size());
}
