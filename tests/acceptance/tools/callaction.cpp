// Calls exported actions of the library in a real installer session, as the installer does: each in
// a library that is loaded for it.
//
//   callaction <library> <package> <step>...
//
// The session is that of a package opened without regard to the machine's state. The steps are done
// in order, and each prints what it found, in UTF-8:
//
//   set=<name>=<value>   sets a property
//   get=<name>           "get <name>: <value>"
//   call=<export>        calls an action: "call <export>: <status>"
//   memory=<export>      calls it with each of its allocations failing in turn, alone and together
//                        with all later ones: "memory <export>: 12 times 0, 34 times 1627"
//   close                ends the session: from here on actions get none
//   load=<library>       loads another library beside
//   wait                 waits for the end of its input
//   box                  from here on a second thread waits for a message box, closes it, and
//                        prints "box title: …" and "box text: …", line feeds shown as "|"
#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

namespace {

void print(const std::wstring& line) {
    static char utf8[1 << 18];
    WideCharToMultiByte(CP_UTF8, 0, line.c_str(), -1, utf8, sizeof(utf8), nullptr, nullptr);
    std::puts(utf8);
    std::fflush(stdout);  // read even if the process is ended
}

std::wstring windowText(HWND window) {
    wchar_t buffer[4096];
    std::wstring text(buffer, static_cast<std::size_t>(GetWindowTextW(window, buffer, 4096)));
    std::replace(text.begin(), text.end(), L'\n', L'|');
    return text;
}

bool isOursAndVisible(HWND window) {
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    return process == GetCurrentProcessId() && IsWindowVisible(window);
}

DWORD CALLBACK closeBox(LPVOID) {
    HWND box = nullptr;
    while (!isOursAndVisible(box = FindWindowExW(nullptr, box, L"#32770", nullptr))) {
        Sleep(50);
    }
    print(L"box title: " + windowText(box));
    HWND label = nullptr;
    while ((label = FindWindowExW(box, label, L"Static", nullptr)) != nullptr) {
        if (const std::wstring text = windowText(label); !text.empty()) {
            print(L"box text: " + text);
        }
    }
    PostMessageW(box, WM_COMMAND, IDOK, 0);
    return 0;
}

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

template <class Part>
Part* partOf(HMODULE library, ULONG_PTR offset) {
    return reinterpret_cast<Part*>(reinterpret_cast<char*>(library) + offset);
}

/// Turns the imports of a loaded library by which it gets memory to the functions above.
void takeOverMemory(HMODULE library) {
    static const std::map<std::string, void*> kInstead = {
        {"malloc", reinterpret_cast<void*>(mallocInstead)},
        {"calloc", reinterpret_cast<void*>(callocInstead)},
        {"realloc", reinterpret_cast<void*>(reallocInstead)}};
    const auto* dos = partOf<IMAGE_DOS_HEADER>(library, 0);
    const auto& header = partOf<IMAGE_NT_HEADERS>(library, dos->e_lfanew)->OptionalHeader;
    const auto* from = partOf<IMAGE_IMPORT_DESCRIPTOR>(
        library, header.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
    for (; from->Name != 0; ++from) {
        const auto* name = partOf<IMAGE_THUNK_DATA>(library, from->OriginalFirstThunk);
        auto* entry = partOf<IMAGE_THUNK_DATA>(library, from->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++entry) {
            const auto own =
                IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)
                    ? kInstead.end()
                    : kInstead.find(
                          partOf<IMAGE_IMPORT_BY_NAME>(library, name->u1.AddressOfData)->Name);
            if (own != kInstead.end()) {
                DWORD before;
                VirtualProtect(entry, sizeof(*entry), PAGE_READWRITE, &before);
                entry->u1.Function = reinterpret_cast<ULONG_PTR>(own->second);
            }
        }
    }
}

struct Call {
    const wchar_t* library;
    std::string action;
    MSIHANDLE session;
    UINT status;
};

DWORD WINAPI run(LPVOID parameter) {
    Call& call = *static_cast<Call*>(parameter);
    const HMODULE library = LoadLibraryW(call.library);
    takeOverMemory(library);
    const auto action = reinterpret_cast<UINT(__stdcall*)(MSIHANDLE)>(
        reinterpret_cast<void*>(GetProcAddress(library, call.action.c_str())));
    shortage.thread = GetCurrentThreadId();
    call.status = action(call.session);
    shortage.thread = 0;
    FreeLibrary(library);
    return 0;
}

/// The status of an action called in a library that has never run before, on a thread that has
/// never thrown, with an allocation failing, if it comes to that.
UINT statusOf(Call call, unsigned failing = ~0u, bool forGood = false) {
    shortage = {0, forGood, failing, 0};
    const HANDLE thread = CreateThread(nullptr, 0, run, &call, 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    return call.status;
}

/// How often an action ended with which status.
std::wstring shortOfMemory(const Call& call) {
    std::map<UINT, int> times;
    for (const bool forGood : {false, true}) {
        unsigned at = 0;
        do {
            ++times[statusOf(call, ++at, forGood)];
        } while (shortage.asked >= at);
    }
    std::wstring text;
    for (const auto& [status, count] : times) {
        text += (text.empty() ? L"" : L", ") + std::to_wstring(count) + L" times " +
                std::to_wstring(status);
    }
    return text;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    MSIHANDLE session = 0;
    if (const UINT status = MsiOpenPackageExW(arguments[2], 1, &session); status != ERROR_SUCCESS) {
        print(L"MsiOpenPackageEx failed: " + std::to_wstring(status));
        return 1;
    }
    for (int i = 3; i < count; ++i) {
        const std::wstring step = arguments[i];
        const auto equals = step.find(L'=');
        const std::wstring verb = step.substr(0, equals);
        const std::wstring rest = step.substr(equals + 1);
        const Call call = {arguments[1], std::string(rest.begin(), rest.end()), session, 0};
        if (verb == L"set") {
            const auto middle = rest.find(L'=');
            MsiSetPropertyW(session, rest.substr(0, middle).c_str(),
                            rest.substr(middle + 1).c_str());
        } else if (verb == L"get") {
            static wchar_t value[1 << 16];
            DWORD length = 1 << 16;
            const UINT status = MsiGetPropertyW(session, rest.c_str(), value, &length);
            print(L"get " + rest + L": " + (status == ERROR_SUCCESS ? value : L"<failed>"));
        } else if (verb == L"call") {
            print(L"call " + rest + L": " + std::to_wstring(statusOf(call)));
        } else if (verb == L"memory") {
            print(L"memory " + rest + L": " + shortOfMemory(call));
        } else if (verb == L"load") {
            print(L"load: " + std::to_wstring(LoadLibraryW(rest.c_str()) != nullptr));
        } else if (verb == L"wait") {
            while (std::getchar() != EOF) {
            }
        } else if (verb == L"close") {
            MsiCloseHandle(session);
            session = 0;
        } else {
            CloseHandle(CreateThread(nullptr, 0, closeBox, nullptr, 0, nullptr));
        }
    }
    return 0;
}
