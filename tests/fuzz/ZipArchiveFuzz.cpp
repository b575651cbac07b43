// Any bytes as an archive: opened, walked, each entry found and read, by the library and by its
// wrapper. None takes memory out of proportion to the file.
#include <algorithm>
#include <memory>

#include "fuzz/Fuzz.h"
#include "windows/common/unzip/unzip.h"
#include "zip/Entries.h"

namespace {

constexpr std::int32_t kMaxEntries = 48;

/// Reads an entry into a buffer of the size that the archive can hold of it at most: whatever the
/// entry's header says, nothing may be written after it.
void read(nzfile* zip, nzentry* entry) {
    const std::int64_t size = entry->size;
    const std::int64_t packed = std::clamp<std::int64_t>(entry->csize, 0, zip->len) * 1032;
    const auto capacity = std::clamp<std::int64_t>(size, 0, entry->csize == 0 ? zip->len : packed);
    const std::unique_ptr<char[]> data(new char[static_cast<std::size_t>(capacity)]);
    const std::unique_ptr<char[]> name(new char[static_cast<std::size_t>(entry->nlen) + 1]);
    if (ZIP_ReadEntry(zip, entry, data.get(), name.get()) == 1) {
        require(size <= capacity, "an entry that is read fits the bytes packed for it");
    } else {
        nz::freeEntry(zip, entry);
    }
}

}  // namespace

void fuzz(const std::string& input) {
    machine().volumes.addFile(u"C:\\a.zip", input);
    char* message = nullptr;
    nzfile* const zip = ZIP_Open("C:\\a.zip", &message);
    for (std::int32_t i = 0; zip != nullptr && i < std::min(zip->total, kMaxEntries); ++i) {
        nzentry* const entry = ZIP_GetNextEntry(zip, i);
        if (entry == nullptr) {
            continue;
        }
        const std::string name = entry->name;
        read(zip, entry);
        if (i % 2 != 0) {
            nz::freeEntry(zip, nullptr);  // it is looked up again, not returned from the cache
        }
        nzentry* const found = nz::findEntry(zip, name.c_str());
        require(found == nullptr || name == found->name, "an entry found has the name");
        nz::freeEntry(zip, found);
    }
    isAccepted(
        [] { ZipFile(_T("C:\\a.zip")).extractEntryAsUtf8String(_T("META-INF/MANIFEST.MF")); });
    if (zip != nullptr) {
        ZIP_Close(zip);
    }
    require(ZIP_Open("C:\\a.zip", nullptr) == nullptr, "a closed archive is not listed");
}
