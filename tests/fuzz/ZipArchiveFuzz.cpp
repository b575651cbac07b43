// Any bytes as an archive: opened, walked, each entry found and read, by the library and by its
// wrapper. Opening may not take memory out of proportion to the file.
#include <sanitizer/allocator_interface.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

#include "fuzz/Require.h"
#include "simulated/machine/Machine.h"
#include "windows/common/unzip/unzip.h"
#include "zip/Entries.h"
#include "zip/zip.h"

namespace {

constexpr std::int32_t kMostEntries = 48;

// Live and highest number of allocated bytes while an archive is opened.
bool counting = false;
std::int64_t live = 0;
std::int64_t peak = 0;

void onMalloc(const volatile void*, std::size_t size) {
    if (counting) {
        live += static_cast<std::int64_t>(size);
        peak = std::max(peak, live);
    }
}

void onFree(const volatile void* memory) {
    if (counting && memory != nullptr) {
        live -= static_cast<std::int64_t>(__sanitizer_get_allocated_size(memory));
    }
}

nzfile* openCounted(const char* name, std::size_t fileSize) {
    [[maybe_unused]] static const int installed =
        __sanitizer_install_malloc_and_free_hooks(onMalloc, onFree);
    char* message = nullptr;
    live = 0;
    peak = 0;
    counting = true;
    nzfile* const zip = ZIP_Open(name, &message);
    counting = false;
    require(peak <= static_cast<std::int64_t>(64 * fileSize + (1 << 20)));
    return zip;
}

/// Reads an entry into room for no more than the archive can hold of it: whatever the entry claims,
/// nothing may be written behind that. True if the library has taken the entry back.
bool read(nzfile* zip, nzentry* entry) {
    const std::int64_t inFile =
        entry->csize == 0 ? zip->len
                          : std::min(std::max<std::int64_t>(entry->csize, 0), zip->len) * 1032;
    const std::int64_t room = std::clamp<std::int64_t>(entry->size, 0, inFile);
    const std::unique_ptr<char[]> data(new char[static_cast<std::size_t>(room)]);
    const std::unique_ptr<char[]> name(new char[static_cast<std::size_t>(entry->nlen) + 1]);
    const bool done = ZIP_ReadEntry(zip, entry, data.get(), name.get()) == 1;
    require(!done || entry->size <= room);
    return done;
}

void walk(nzfile* zip) {
    const std::int32_t count = std::min(zip->total, kMostEntries);
    require(ZIP_GetNextEntry(zip, -1) == nullptr);
    require(ZIP_GetNextEntry(zip, zip->total) == nullptr);
    for (std::int32_t i = 0; i < count; ++i) {
        nzentry* entry = ZIP_GetNextEntry(zip, i);
        if (entry == nullptr) {
            continue;
        }
        const std::string name = entry->name;
        if (!read(zip, entry)) {
            nz::freeEntry(zip, entry);
        }
        std::int32_t size = 0;
        std::int32_t nameLength = 0;
        entry = ZIP_FindEntry(zip, name.c_str(), &size, &nameLength);
        if (entry != nullptr) {
            require(name == entry->name && static_cast<std::size_t>(nameLength) == name.size());
            nz::freeEntry(zip, i % 2 == 0 ? entry : nullptr);
            if (i % 2 != 0) {
                nz::freeEntry(zip, entry);
            }
        }
    }
    require(nz::findEntry(zip, "no such name") == nullptr || zip->total > 0);
}

void extract(const tstring& path, const std::string& name) {
    try {
        const ZipFile file(path);
        (void)file.extractEntryAsUtf8String(tstring(name.begin(), name.end()));
    } catch (const std::runtime_error&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static simulated::Machine machine;
    static const simulated::Running running(machine);
    machine.volumes.addFile(u"C:\\a.zip", std::string(reinterpret_cast<const char*>(data), size));

    nzfile* const zip = openCounted("C:\\a.zip", size);
    if (zip != nullptr) {
        require(ZIP_Open("C:\\a.zip", nullptr) == zip);
        walk(zip);
        extract(_T("C:\\a.zip"), "META-INF/MANIFEST.MF");
        ZIP_Close(zip);
        ZIP_Close(zip);
    }
    require(ZIP_Open("C:\\a.zip", nullptr) == nullptr);
    return 0;
}
