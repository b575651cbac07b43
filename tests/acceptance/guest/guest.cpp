// Loads the library into a process that treats it badly, and holds it to its word: an action fails
// by its status, and the process lives.
//
//   guest <norvca.dll> [<library>]
//
// Memory runs out, at each allocation in turn. If a library is named, the process loads it and
// calls the actions once more. Says what it tried; ends with 0 if all was well.
#include <windows.h>
#include <msi.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "../../conformance/Setting.h"

namespace {

using Action = UINT(__stdcall*)(MSIHANDLE);

/// One for each frame.
constexpr struct Exported {
    const char* name;
    UINT failure;
} kPlain = {"MSIValidateInstallDir", ERROR_FUNCTION_FAILED},
  kFull = {"checkIfInstallDirReserved", ERROR_INSTALL_FAILURE};

/// The allocation to fail on `thread`, counted from 1, and how many that thread has asked for.
struct Shortage {
    DWORD thread = 0;
    bool forGood = false;
    unsigned at = 0;
    unsigned asked = 0;
} shortage;

bool lacks() {
    if (GetCurrentThreadId() != shortage.thread) {
        return false;
    }
    ++shortage.asked;
    return shortage.forGood ? shortage.asked >= shortage.at : shortage.asked == shortage.at;
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

template <class Part>
Part* partOf(HMODULE library, ULONG_PTR offset) {
    return reinterpret_cast<Part*>(reinterpret_cast<char*>(library) + offset);
}

/// Turns the imports of a loaded library by which it gets memory to the functions above.
void takeOverMemory(HMODULE library) {
    const auto* dos = partOf<IMAGE_DOS_HEADER>(library, 0);
    const auto& header = partOf<IMAGE_NT_HEADERS>(library, dos->e_lfanew)->OptionalHeader;
    const auto* from = partOf<IMAGE_IMPORT_DESCRIPTOR>(
        library, header.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
    for (; from->Name != 0; ++from) {
        const auto* name = partOf<IMAGE_THUNK_DATA>(library, from->OriginalFirstThunk);
        auto* entry = partOf<IMAGE_THUNK_DATA>(library, from->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++entry) {
            void* const own =
                IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)
                    ? nullptr
                    : instead(partOf<IMAGE_IMPORT_BY_NAME>(library, name->u1.AddressOfData)->Name);
            if (own != nullptr) {
                DWORD before;
                VirtualProtect(entry, sizeof(*entry), PAGE_READWRITE, &before);
                entry->u1.Function = reinterpret_cast<ULONG_PTR>(own);
            }
        }
    }
}

[[noreturn]] void giveUp(const std::string& why) {
    std::printf("%s\n", why.c_str());
    std::exit(1);
}

HMODULE load(const char* path) {
    const HMODULE library = LoadLibraryA(path);
    return library != nullptr ? library : (giveUp(path + std::string(" can't be loaded")), nullptr);
}

Action exported(HMODULE library, const char* name) {
    return reinterpret_cast<Action>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

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

/// The status of an action called in a library that has never run before, on a thread that has
/// never thrown, with the `at`-th allocation failing.
UINT callShortOfMemory(const char* path, const char* name, MSIHANDLE session, bool forGood,
                       unsigned at) {
    const HMODULE library = load(path);
    takeOverMemory(library);
    shortage = {0, forGood, at, 0};
    Call call = {exported(library, name), session, 0};
    const HANDLE thread = CreateThread(nullptr, 0, run, &call, 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    FreeLibrary(library);
    return call.status;
}

/// Fails each allocation of an action in turn. A record that can't be written, or a step that the
/// action does without, leaves the status alone.
void failEach(const char* path, const Exported& action, MSIHANDLE session, bool forGood) {
    const UINT undisturbed = callShortOfMemory(path, action.name, session, forGood, ~0u);
    const unsigned count = shortage.asked;
    int failures = 0;
    for (unsigned at = 1; at <= count; ++at) {
        const UINT status = callShortOfMemory(path, action.name, session, forGood, at);
        failures += status == action.failure;
        if (status != action.failure && status != undisturbed) {
            giveUp(action.name + (": allocation " + std::to_string(at)) + " gave " +
                   std::to_string(status));
        }
    }
    std::printf("%s, session %d, %s: %u allocations, %d times %u, else %u\n", action.name,
                session != 0, forGood ? "for good" : "once", count, failures, action.failure,
                undisturbed);
    if (failures == 0) {
        giveUp("nothing failed");
    }
}

void runOutOfMemory(const char* path) {
    const MSIHANDLE session = openPackageSession();
    for (const bool forGood : {false, true}) {
        // Without a session the action fails anyhow: then the memory for its own throw lacks too.
        failEach(path, kPlain, 0, forGood);
        failEach(path, kPlain, session, forGood);
        failEach(path, kFull, session, forGood);
    }
    MsiCloseHandle(session);
}

/// Without a session the first read of a property throws, also behind a library that came first.
void runBeside(const char* path, const char* stranger) {
    load(stranger);
    const HMODULE library = load(path);
    for (const Exported& action : {kPlain, kFull}) {
        const UINT status = exported(library, action.name)(0);
        std::printf("%s: %u\n", action.name, status);
        if (status != action.failure) {
            giveUp("another status");
        }
    }
}

}  // namespace

int main(int count, char** arguments) {
    // What is said must be read even if the process is ended.
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    runOutOfMemory(arguments[1]);
    if (count == 3) {
        runBeside(arguments[1], arguments[2]);
    }
    return 0;
}
