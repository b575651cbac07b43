#include "ZipPeers.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#ifdef HAVE_LIBZIP
#include <zip.h>
#endif
#ifdef HAVE_MINIZIP
#include <minizip/unzip.h>
#endif
#ifdef HAVE_LIBARCHIVE
#include <archive.h>
#include <archive_entry.h>
#endif

namespace {

[[maybe_unused]] void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "%s failed\n", what);
        std::abort();
    }
}

[[maybe_unused]] char buffer[1 << 20];

#ifdef HAVE_LIBZIP

zip_t* openLibzip(const std::string& bytes) {
    zip_error_t error;
    zip_source_t* const source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &error);
    zip_t* const zip = zip_open_from_source(source, ZIP_RDONLY, &error);
    require(zip != nullptr, "zip_open_from_source");
    return zip;
}

std::uint64_t readLibzip(zip_file_t* file) {
    require(file != nullptr, "zip_fopen");
    std::uint64_t total = 0;
    for (zip_int64_t n; (n = zip_fread(file, buffer, sizeof(buffer))) > 0;) {
        total += static_cast<std::uint64_t>(n);
    }
    zip_fclose(file);
    return total;
}

std::uint64_t readOneLibzip(const std::string& archive, const char* entry) {
    zip_t* const zip = openLibzip(archive);
    const std::uint64_t total = readLibzip(zip_fopen(zip, entry, 0));
    zip_discard(zip);
    return total;
}

std::uint64_t readAllLibzip(const std::string& archive) {
    zip_t* const zip = openLibzip(archive);
    std::uint64_t total = 0;
    const auto count = static_cast<zip_uint64_t>(zip_get_num_entries(zip, 0));
    for (zip_uint64_t i = 0; i < count; ++i) {
        total += readLibzip(zip_fopen_index(zip, i, 0));
    }
    zip_discard(zip);
    return total;
}

#endif
#ifdef HAVE_MINIZIP

struct Memory {
    const std::string* bytes;
    std::size_t at = 0;
};

unzFile openMinizip(Memory* memory) {
    zlib_filefunc64_def io = {};
    io.opaque = memory;
    io.zopen64_file = [](voidpf opaque, const void*, int) -> voidpf { return opaque; };
    io.zread_file = [](voidpf, voidpf stream, void* to, uLong size) -> uLong {
        auto* const m = static_cast<Memory*>(stream);
        const std::size_t n = std::min<std::size_t>(size, m->bytes->size() - m->at);
        std::memcpy(to, m->bytes->data() + m->at, n);
        m->at += n;
        return static_cast<uLong>(n);
    };
    io.ztell64_file = [](voidpf, voidpf stream) -> ZPOS64_T {
        return static_cast<Memory*>(stream)->at;
    };
    io.zseek64_file = [](voidpf, voidpf stream, ZPOS64_T offset, int origin) -> long {
        auto* const m = static_cast<Memory*>(stream);
        m->at = static_cast<std::size_t>(offset) + (origin == ZLIB_FILEFUNC_SEEK_CUR ? m->at
                                                    : origin == ZLIB_FILEFUNC_SEEK_END
                                                        ? m->bytes->size()
                                                        : 0);
        return 0;
    };
    io.zclose_file = [](voidpf, voidpf) { return 0; };
    io.zerror_file = [](voidpf, voidpf) { return 0; };
    const unzFile zip = unzOpen2_64("", &io);
    require(zip != nullptr, "unzOpen2_64");
    return zip;
}

std::uint64_t readMinizip(unzFile zip) {
    require(unzOpenCurrentFile(zip) == UNZ_OK, "unzOpenCurrentFile");
    std::uint64_t total = 0;
    for (int n; (n = unzReadCurrentFile(zip, buffer, sizeof(buffer))) > 0;) {
        total += static_cast<std::uint64_t>(n);
    }
    unzCloseCurrentFile(zip);
    return total;
}

std::uint64_t readOneMinizip(const std::string& archive, const char* entry) {
    Memory memory = {&archive};
    const unzFile zip = openMinizip(&memory);
    require(unzLocateFile(zip, entry, 1) == UNZ_OK, "unzLocateFile");
    const std::uint64_t total = readMinizip(zip);
    unzClose(zip);
    return total;
}

std::uint64_t readAllMinizip(const std::string& archive) {
    Memory memory = {&archive};
    const unzFile zip = openMinizip(&memory);
    std::uint64_t total = 0;
    for (int status = unzGoToFirstFile(zip); status == UNZ_OK; status = unzGoToNextFile(zip)) {
        total += readMinizip(zip);
    }
    unzClose(zip);
    return total;
}

#endif
#ifdef HAVE_LIBARCHIVE

/// Reads the entries, or those before the one named, that one, and no more.
std::uint64_t readLibarchive(const std::string& bytes, const char* only) {
    archive* const reader = archive_read_new();
    archive_read_support_format_zip(reader);
    require(archive_read_open_memory(reader, bytes.data(), bytes.size()) == ARCHIVE_OK,
            "archive_read_open_memory");
    std::uint64_t total = 0;
    archive_entry* entry;
    while (archive_read_next_header(reader, &entry) == ARCHIVE_OK) {
        const bool wanted =
            only == nullptr || std::strcmp(archive_entry_pathname(entry), only) == 0;
        if (!wanted) {
            continue;
        }
        for (la_ssize_t n; (n = archive_read_data(reader, buffer, sizeof(buffer))) > 0;) {
            total += static_cast<std::uint64_t>(n);
        }
        if (only != nullptr) {
            break;
        }
    }
    archive_read_free(reader);
    return total;
}

std::uint64_t readOneLibarchive(const std::string& archive, const char* entry) {
    return readLibarchive(archive, entry);
}

std::uint64_t readAllLibarchive(const std::string& archive) {
    return readLibarchive(archive, nullptr);
}

#endif

}  // namespace

std::vector<ZipPeer> zipPeers() {
    return {
#ifdef HAVE_LIBZIP
        {"libzip", readOneLibzip, readAllLibzip},
#endif
#ifdef HAVE_MINIZIP
        {"minizip", readOneMinizip, readAllMinizip},
#endif
#ifdef HAVE_LIBARCHIVE
        {"libarchive", readOneLibarchive, readAllLibarchive},
#endif
    };
}
