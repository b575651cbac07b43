// Loads the library into a process that treats it badly, and holds it to its word: an action fails
// by its status, and the process lives.
//
//   guest <norvca.dll> [<library>]
//
// Memory runs out, at each allocation in turn. If a library is named, the process loads it and
// calls the actions once more.
//
// Says what it tried; ends with 0 if all was well. A process that the library ends doesn't.
#include <windows.h>
#include <msi.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "../../conformance/InstallerSetup.h"

namespace {

using Action = UINT(__stdcall*)(MSIHANDLE);

struct Exported {
    const char* name;
    UINT failure;
};

/// One for each frame.
constexpr Exported kPlain = {"MSIValidateInstallDir", ERROR_FUNCTION_FAILED};
constexpr Exported kFull = {"checkIfInstallDirReserved", ERROR_INSTALL_FAILURE};

// --- Memory that runs out

enum class Lacking { Once, ForGood };

/// The allocation to fail on `thread`, counted from 1, and how many that thread has asked for.
struct Shortage {
    DWORD thread = 0;
    Lacking lacking = Lacking::Once;
    unsigned at = 0;
    unsigned asked = 0;
} shortage;

bool lacks() {
    if (GetCurrentThreadId() != shortage.thread) {
        return false;
    }
    ++shortage.asked;
    return shortage.lacking == Lacking::Once ? shortage.asked == shortage.at
                                             : shortage.asked >= shortage.at;
}

void* mallocInstead(size_t size) {
    return lacks() ? nullptr : std::malloc(size);
}
void* callocInstead(size_t n, size_t size) {
    return lacks() ? nullptr : std::calloc(n, size);
}
void* reallocInstead(void* block, size_t size) {
    return lacks() ? nullptr : std::realloc(block, size);
}

void* instead(const char* name) {
    return std::strcmp(name, "malloc") == 0    ? reinterpret_cast<void*>(mallocInstead)
           : std::strcmp(name, "calloc") == 0  ? reinterpret_cast<void*>(callocInstead)
           : std::strcmp(name, "realloc") == 0 ? reinterpret_cast<void*>(reallocInstead)
                                               : nullptr;
}

/// Turns the imports of a loaded library by which it gets memory to the functions above.
void takeOverMemory(HMODULE library) {
    char* const base = reinterpret_cast<char*>(library);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    const auto* from =
        reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
    for (; from->Name != 0; ++from) {
        const auto* name =
            reinterpret_cast<const IMAGE_THUNK_DATA*>(base + from->OriginalFirstThunk);
        auto* entry = reinterpret_cast<IMAGE_THUNK_DATA*>(base + from->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++entry) {
            const auto* import =
                reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + name->u1.AddressOfData);
            if (void* const own =
                    IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal) ? nullptr : instead(import->Name)) {
                DWORD before;
                VirtualProtect(entry, sizeof(*entry), PAGE_READWRITE, &before);
                entry->u1.Function = reinterpret_cast<ULONG_PTR>(own);
                VirtualProtect(entry, sizeof(*entry), before, &before);
            }
        }
    }
}

// --- Calls

struct Call {
    Action action;
    MSIHANDLE session;
    UINT status;
};

DWORD WINAPI run(LPVOID parameter) {
    Call& call = *static_cast<Call*>(parameter);
    shortage.thread = GetCurrentThreadId();
    call.status = call.action(call.session);
    shortage.thread = 0;
    return 0;
}

[[noreturn]] void giveUp(const std::string& why) {
    std::printf("%s\n", why.c_str());
    std::exit(1);
}

Action exported(HMODULE library, const char* name) {
    const FARPROC found = GetProcAddress(library, name);
    return found != nullptr ? reinterpret_cast<Action>(reinterpret_cast<void*>(found)) : nullptr;
}

HMODULE load(const char* path) {
    const HMODULE library = LoadLibraryA(path);
    if (library == nullptr) {
        giveUp(path + (" can't be loaded: " + std::to_string(GetLastError())));
    }
    return library;
}

/// The status of an action called in a library that has never run before, on a thread that has
/// never thrown, with the `at`-th allocation failing.
UINT callShortOfMemory(const char* path, const char* name, MSIHANDLE session, Lacking lacking,
                       unsigned at) {
    const HMODULE library = load(path);
    takeOverMemory(library);
    shortage = {0, lacking, at, 0};
    Call call = {exported(library, name), session, 0};
    const HANDLE thread = CreateThread(nullptr, 0, run, &call, 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    FreeLibrary(library);
    return call.status;
}

/// Fails each allocation of an action in turn. A record that can't be written, or a step that the
/// action does without, leaves the status alone.
void failEach(const char* path, const Exported& action, MSIHANDLE session, Lacking lacking) {
    const UINT undisturbed = callShortOfMemory(path, action.name, session, lacking, ~0u);
    int failures = 0;
    unsigned at = 1;
    for (;; ++at) {
        const UINT status = callShortOfMemory(path, action.name, session, lacking, at);
        if (shortage.asked < at) {
            break;
        }
        if (status == action.failure) {
            ++failures;
        } else if (status != undisturbed) {
            giveUp(action.name + (": allocation " + std::to_string(at)) + " gave " +
                   std::to_string(status));
        }
    }
    std::printf("%s, session %d, %s: %u allocations, %d times %u, else %u\n", action.name,
                session != 0, lacking == Lacking::Once ? "once" : "for good", at - 1, failures,
                action.failure, undisturbed);
    if (failures == 0) {
        giveUp("nothing failed");
    }
}

void runOutOfMemory(const char* path) {
    const tstring package =
        makePackage({_T("{7F1B5D2E-3C4A-4E5B-8A6D-9C0B1A2D3E4F}"),
                     _T("{1A2B3C4D-5E6F-4A5B-8C7D-0E1F2A3B4C5D}"), _T("Guest"), _T("1.0.0")},
                    {});
    const MSIHANDLE session = openPackageSession(package);
    for (const Lacking lacking : {Lacking::Once, Lacking::ForGood}) {
        // Without a session the action fails anyhow: then the memory for its own throw lacks too.
        failEach(path, kPlain, 0, lacking);
        failEach(path, kPlain, session, lacking);
        failEach(path, kFull, session, lacking);
    }
    MsiCloseHandle(session);
}

// --- A library that has come first

void runBeside(const char* path, const char* stranger) {
    load(stranger);
    const HMODULE library = load(path);
    for (const Exported& action : {kPlain, kFull}) {
        // Without a session the first read of a property throws.
        const UINT status = exported(library, action.name)(0);
        std::printf("%s: %u\n", action.name, status);
        if (status != action.failure) {
            giveUp("another status");
        }
    }
    FreeLibrary(library);
}

}  // namespace

int main(int count, char** arguments) {
    // What is said must be read even if the process is ended.
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    if (count < 2 || count > 3) {
        giveUp("usage: guest <norvca.dll> [<library>]");
    }
    runOutOfMemory(arguments[1]);
    if (count == 3) {
        runBeside(arguments[1], arguments[2]);
    }
    return 0;
}
