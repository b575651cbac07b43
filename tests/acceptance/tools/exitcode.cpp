// Runs a command line and prints its whole exit code, which a Unix shell sees one byte of.
#include <windows.h>

#include <cstdio>

namespace {

/// What follows this program's own name on the command line.
wchar_t* restOfCommandLine() {
    wchar_t* c = GetCommandLineW();
    bool quoted = false;
    for (; *c != L'\0' && (quoted || *c != L' '); ++c) {
        quoted = *c == L'"' ? !quoted : quoted;
    }
    while (*c == L' ') {
        ++c;
    }
    return c;
}

}  // namespace

int main() {
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, restOfCommandLine(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                        &process)) {
        std::printf("cannot start: %lu\n", GetLastError());
        return 1;
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    std::printf("exit code %lu\n", code);
    return 0;
}
