// Calls exported actions of the library in a real installer session, as the installer does.
//
//   callaction <library> <package> <step>...
//
// The session is that of a package opened without regard to the machine's state. The steps are done
// in order, and each prints what it found, in UTF-8:
//
//   set=<name>=<value>   sets a property
//   call=<export>        calls an action: "call <export>: <status>"
//   get=<name>           "get <name>: <value>"
//   box                  from here on a second thread waits for a message box, closes it, and
//                        prints "box title: …" and "box text: …", line feeds shown as "|"
#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

void print(const std::wstring& line) {
    const std::wstring text = line + L"\n";
    const int size = static_cast<int>(text.size());
    std::string utf8(static_cast<std::size_t>(size) * 4, '\0');
    utf8.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_UTF8, 0, text.data(), size, utf8.data(),
                            static_cast<int>(utf8.size()), nullptr, nullptr)));
    DWORD written;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), utf8.data(), static_cast<DWORD>(utf8.size()),
              &written, nullptr);
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

std::wstring getProperty(MSIHANDLE session, const std::wstring& name) {
    std::vector<wchar_t> buffer(1 << 16);
    DWORD length = static_cast<DWORD>(buffer.size());
    if (MsiGetPropertyW(session, name.c_str(), buffer.data(), &length) != ERROR_SUCCESS) {
        return L"<failed>";
    }
    return std::wstring(buffer.data(), length);
}

int fail(const std::wstring& what, DWORD status) {
    print(what + L" failed: " + std::to_wstring(status));
    return 1;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    const HMODULE library = LoadLibraryW(arguments[1]);
    if (library == nullptr) {
        return fail(L"LoadLibrary", GetLastError());
    }
    MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    MSIHANDLE session = 0;
    const UINT opened = MsiOpenPackageExW(arguments[2], 1, &session);
    if (opened != ERROR_SUCCESS) {
        return fail(L"MsiOpenPackageEx", opened);
    }
    for (int i = 3; i < count; ++i) {
        const std::wstring step = arguments[i];
        const auto equals = step.find(L'=');
        const std::wstring verb = step.substr(0, equals);
        const std::wstring rest = equals == std::wstring::npos ? L"" : step.substr(equals + 1);
        if (verb == L"set") {
            const auto middle = rest.find(L'=');
            MsiSetPropertyW(session, rest.substr(0, middle).c_str(),
                            rest.substr(middle + 1).c_str());
        } else if (verb == L"get") {
            print(L"get " + rest + L": " + getProperty(session, rest));
        } else if (verb == L"call") {
            using Action = UINT(__stdcall*)(MSIHANDLE);
            const std::string name(rest.begin(), rest.end());
            const auto action = reinterpret_cast<Action>(
                reinterpret_cast<void*>(GetProcAddress(library, name.c_str())));
            if (action == nullptr) {
                return fail(L"GetProcAddress " + rest, GetLastError());
            }
            print(L"call " + rest + L": " + std::to_wstring(action(session)));
        } else if (verb == L"box") {
            CloseHandle(CreateThread(nullptr, 0, closeBox, nullptr, 0, nullptr));
        } else {
            return fail(L"step " + step, 0);
        }
    }
    MsiCloseHandle(session);
    return 0;
}
