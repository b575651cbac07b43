#include "windows/common/unzip/unzip.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include "common/share/PmtError.h"
#include "common/share/Text.h"
#include "common/share/tstrings.h"
#include "zip/Entries.h"
#include "zip/zip.h"

namespace {

/// An entry found in an archive; returned to the library by the destructor unless it has been read.
class ZipFileEntry {
public:
    ZipFileEntry(nzfile* zip, const std::string& name)
        : zip_(zip), entry_(nz::findEntry(zip, name.c_str())) {
        if (entry_ == nullptr) {
            entry_ = nz::findEntry(zip, (name + '/').c_str());
        }
        if (entry_ == nullptr) {
            raise<std::runtime_error>(
                "`anonymous-namespace'::ZipFileEntry::ZipFileEntry",
                Text() << _T("ZIP_FindEntry(") << zip->name << _T(", ") << name << _T(") failed"));
        }
    }

    ~ZipFileEntry() {
        if (entry_ != nullptr) {
            nz::freeEntry(zip_, entry_);
        }
    }

    ZipFileEntry(const ZipFileEntry&) = delete;
    ZipFileEntry& operator=(const ZipFileEntry&) = delete;

    nzentry* get() const { return entry_; }
    void forget() { entry_ = nullptr; }

private:
    nzfile* zip_;
    nzentry* entry_;
};

/// Returns the maximum size that an entry can have, regardless of the size in its header. Stored
/// bytes are in the file; deflate produces at most 258 bytes from two bits.
std::uint64_t maxSizeOf(const nzfile* zip, const nzentry* entry) {
    constexpr std::uint64_t kMaxBytesPerByte = 258 * 4;
    const auto inFile = static_cast<std::uint64_t>(zip->len);
    if (entry->csize == 0) {
        return inFile;
    }
    return std::min(static_cast<std::uint64_t>(entry->csize), inFile) * kMaxBytesPerByte;
}

class extractEntryInMemory {
public:
    /// Allocates buffers for the name, its NUL, and the data, without touching the latter. No
    /// memory is allocated for a size that the entry can't have: reading fails before that end of
    /// the buffer.
    extractEntryInMemory(nzfile* zip, const nzentry* entry)
        : zip_(zip), dataOffset_(static_cast<std::size_t>(entry->nlen) + 1) {
        const std::uint64_t size =
            dataOffset_ + std::min(static_cast<std::uint64_t>(entry->size), maxSizeOf(zip, entry));
        if (size > PTRDIFF_MAX) {
            throw std::bad_alloc();
        }
        buffer_ = std::make_unique_for_overwrite<char[]>(static_cast<std::size_t>(size));
    }

    std::string operator()(ZipFileEntry& entry) {
        const auto size = static_cast<std::size_t>(entry.get()->size);
        if (ZIP_ReadEntry(zip_, entry.get(), buffer_.get() + dataOffset_, buffer_.get()) == 0) {
            raise<std::runtime_error>("`anonymous-namespace'::extractEntryInMemory::operator ()",
                                      Text() << _T("ZIP_ReadEntry(") << zip_->name << _T(", ")
                                             << entry.get()->name << _T(") failed"));
        }
        entry.forget();
        return std::string(buffer_.get() + dataOffset_, size);
    }

private:
    nzfile* zip_;
    std::size_t dataOffset_;
    std::unique_ptr<char[]> buffer_;
};

}  // namespace

ZipFile::ZipFile(const tstring& path) : zip_(nullptr), owned_(false) {
    char* message = nullptr;
    zip_ = ZIP_Open(tstrings::toUtf8(path).c_str(), &message);
    if (zip_ == nullptr) {
        raise<std::runtime_error>("ZipFile::ZipFile",
                                  Text() << _T("ZIP_Open(") << path << _T(") failed. Error: ")
                                         << (message == nullptr ? "unknown" : message));
    }
    owned_ = true;
}

ZipFile::~ZipFile() {
    if (owned_) {
        ZIP_Close(zip_);
    }
}

ZipFile::ZipFile(ZipFile&& other) noexcept
    : zip_(other.zip_), owned_(std::exchange(other.owned_, false)) {}

ZipFile& ZipFile::operator=(ZipFile&& other) noexcept {
    if (this != &other) {
        if (owned_) {
            ZIP_Close(zip_);
        }
        zip_ = other.zip_;
        owned_ = std::exchange(other.owned_, false);
    }
    return *this;
}

std::string ZipFile::extractEntryAsUtf8String(const tstring& entryName) const {
    static constexpr char kFunction[] = "ZipFile::extractEntryAsUtf8String";
    ZipFileEntry found(zip_, tstrings::toUtf8(entryName));
    const nzentry* const entry = found.get();
    if (static_cast<std::uint64_t>(entry->size) > UINT32_MAX) {
        raise<std::runtime_error>(
            kFunction, Text() << _T("Zip entry ") << entryName << _T(" from ") << zip_->name
                              << _T(" archive is too large to be extracted into memory"));
    }
    if (entry->nlen == 0) {
        raise<std::runtime_error>(kFunction, Text() << _T("Unexpected empty name of zip entry ")
                                                    << entryName << _T(" from ") << zip_->name);
    }
    if (entry->size == 0 && entry->name[entry->nlen - 1] == '/') {
        raise<std::runtime_error>(
            kFunction, Text() << _T("Zip entry ") << entryName << _T(" from ") << zip_->name
                              << _T(" archive is a directory and can't be extracted into memory"));
    }
    return extractEntryInMemory(zip_, entry)(found);
}
