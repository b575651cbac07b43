// Opens and closes archives: one object for each file name, in a list that all clients share.
#include <cerrno>
#include <cstring>

#include "zip/CentralDirectory.h"
#include "zip/Entries.h"
#include "zip/File.h"
#include "zip/Lock.h"
#include "zip/Memory.h"
#include "zip/zip.h"

namespace nz {
namespace {

constexpr std::int32_t kMaxRefs = 65535;

nzfile* firstArchive = nullptr;

// Protects the list. Never destroyed: a client may close its archive as late as at the end of the
// process.
CRITICAL_SECTION listLock;
bool listLockMade = false;

char* message(const char* text) {
    return const_cast<char*>(text);
}

/// Returns the open archive of that name with one more reference, or null.
nzfile* findArchive(const char* name) {
    const Locked locked(&listLock);
    for (nzfile* zip = firstArchive; zip != nullptr; zip = zip->next) {
        if (std::strcmp(zip->name, name) == 0 && zip->refs < kMaxRefs) {
            ++zip->refs;
            return zip;
        }
    }
    return nullptr;
}

void destroyArchive(nzfile* zip) {
    destroyEntry(zip->cache);
    destroyLock(zip->lock);
    std::free(zip->name);
    freeTables(zip);
    std::free(zip->cencacheData);
    std::free(zip->comment);
    if (zip->zfd != INVALID_HANDLE_VALUE) {
        CloseHandle(zip->zfd);
    }
    std::free(zip);
}

/// Returns a new object with its name and lock, or null.
nzfile* allocateArchive(const char* name) {
    auto* const zip = static_cast<nzfile*>(std::calloc(1, sizeof(nzfile)));
    if (zip == nullptr) {
        return nullptr;
    }
    zip->zfd = INVALID_HANDLE_VALUE;
    zip->refs = 1;
    zip->name = copyText(name, std::strlen(name));
    zip->lock = zip->name == nullptr ? nullptr : createLock();
    if (zip->lock == nullptr) {
        destroyArchive(zip);
        return nullptr;
    }
    return zip;
}

/// Determines the file's length and reads its directory; on failure `*text` is the reason or null.
bool load(nzfile* zip, char** text) {
    if (zip->zfd == INVALID_HANDLE_VALUE) {
        *text = message("ZFILE_Open failed");
        return false;
    }
    zip->len = fileLength(zip->zfd);
    if (zip->len <= 0) {
        *text = message(zip->len == 0 ? "zip file is empty" : "IO_Lseek failed");
        return false;
    }
    if (!readCentralDirectory(zip)) {
        *text = message(zip->msg);
        return false;
    }
    return true;
}

nzfile* openArchive(const char* name, char** text) {
    const HANDLE file = openFile(name);
    nzfile* const zip = allocateArchive(name);
    if (zip == nullptr) {
        if (file != INVALID_HANDLE_VALUE) {
            CloseHandle(file);
        }
        return nullptr;
    }
    zip->zfd = file;
    if (!load(zip, text)) {
        destroyArchive(zip);
        return nullptr;
    }
    const Locked locked(&listLock);
    zip->next = firstArchive;
    firstArchive = zip;
    return zip;
}

void unlink(const nzfile* zip) {
    for (nzfile** link = &firstArchive; *link != nullptr; link = &(*link)->next) {
        if (*link == zip) {
            *link = zip->next;
            return;
        }
    }
}

}  // namespace
}  // namespace nz

nzfile* ZIP_Open(const char* name, char** message) {
    if (message != nullptr) {
        *message = nullptr;
    }
    errno = 0;
    if (!nz::listLockMade) {
        InitializeCriticalSection(&nz::listLock);
        nz::listLockMade = true;
    }
    if (std::strlen(name) >= nz::kMaxFileName) {
        if (message != nullptr) {
            *message = nz::message("zip file name too long");
        }
        return nullptr;
    }
    nzfile* const zip = nz::findArchive(name);
    return zip == nullptr && message != nullptr ? nz::openArchive(name, message) : zip;
}

void ZIP_Close(nzfile* zip) {
    {
        const nz::Locked locked(&nz::listLock);
        if (--zip->refs > 0) {
            return;
        }
        nz::unlink(zip);
    }
    nz::destroyArchive(zip);
}
