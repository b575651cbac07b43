// Any bytes as an archive: opened, walked, each entry found and read, by the library and by its
// wrapper. Opening may not take memory out of proportion to the file.
#include <sanitizer/allocator_interface.h>

#include <algorithm>
#include <memory>

#include "fuzz/Fuzz.h"
#include "simulated/machine/Machine.h"
#include "windows/common/unzip/unzip.h"
#include "zip/Entries.h"
#include "zip/zip.h"

namespace {

constexpr std::int32_t kMostEntries = 48;

std::size_t allocated = 0;  // bytes, ever

/// Reads an entry into room for no more than the archive can hold of it: whatever the entry claims,
/// nothing may be written behind that.
void read(nzfile* zip, nzentry* entry) {
    const std::int64_t size = entry->size;
    const std::int64_t packed = std::clamp<std::int64_t>(entry->csize, 0, zip->len) * 1032;
    const auto room = std::clamp<std::int64_t>(size, 0, entry->csize == 0 ? zip->len : packed);
    const std::unique_ptr<char[]> data(new char[static_cast<std::size_t>(room)]);
    const std::unique_ptr<char[]> name(new char[static_cast<std::size_t>(entry->nlen) + 1]);
    if (ZIP_ReadEntry(zip, entry, data.get(), name.get()) == 1) {
        require(size <= room);
    } else {
        nz::freeEntry(zip, entry);
    }
}

void walk(nzfile* zip) {
    require(ZIP_GetNextEntry(zip, zip->total) == nullptr);
    for (std::int32_t i = 0; i < std::min(zip->total, kMostEntries); ++i) {
        nzentry* const entry = ZIP_GetNextEntry(zip, i);
        if (entry == nullptr) {
            continue;
        }
        const std::string name = entry->name;
        read(zip, entry);
        nzentry* const found = nz::findEntry(zip, name.c_str());
        require(found == nullptr || name == found->name);
        nz::freeEntry(zip, found);
        if (i % 2 != 0) {
            nz::freeEntry(zip, nullptr);  // empties the place of the entry released last
        }
    }
    takes([] { ZipFile(_T("C:\\a.zip")).extractEntryAsUtf8String(_T("META-INF/MANIFEST.MF")); });
}

}  // namespace

void fuzz(const std::string& input) {
    static simulated::Machine machine;
    static const simulated::Running running(machine);
    [[maybe_unused]] static const int installed = __sanitizer_install_malloc_and_free_hooks(
        [](const volatile void*, std::size_t size) { allocated += size; },
        [](const volatile void*) {});
    machine.volumes.addFile(u"C:\\a.zip", input);
    const std::size_t before = allocated;
    char* message = nullptr;
    nzfile* const zip = ZIP_Open("C:\\a.zip", &message);
    require(allocated - before <= 64 * input.size() + (1 << 20));
    if (zip != nullptr) {
        walk(zip);
        ZIP_Close(zip);
    }
    require(ZIP_Open("C:\\a.zip", nullptr) == nullptr);
}
