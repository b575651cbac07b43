// Writes what the library's actions may look at on this machine. docs/dry-run.md tells the format.
#include <windows.h>
#include <shellapi.h>
#include <shlobj.h>

#include <array>
#include <string>

#include "describe/Description.h"

/// Windows' version, whatever the program says that it was made for.
extern "C" LONG WINAPI RtlGetVersion(OSVERSIONINFOEXW* version);

namespace {

constexpr const char* kHelp =
    "describe [FILE] [--config FILE] [--tree DIRECTORY] [--package FILE]\n"
    "\n"
    "Writes a description of this machine for the dry run, to FILE or to standard output.\n"
    "It changes nothing. It reads\n"
    "  - the version of Windows, the user's language list, whether this process has the rights of\n"
    "    LocalSystem or of an administrator, and its temporary directory\n"
    "  - the registry below Software\\Halvorex of the machine and of the users, the file types "
    ".vkr\n"
    "    and .zpm, the host entries norv.exe and norvw.exe, the accessibility entry, Path\n"
    "  - the installer's data, Uninstall keys and packages of the Norv products; no others\n"
    "  - names, sizes and versions of the files in these products that an update looks at, the\n"
    "    command shims, the two Start menu folders, the bridge libraries in the system\n"
    "    directories, the updater, the runtime settings file\n"
    "  - pending moves of these files\n"
    "  --config FILE       a configuration file, with its text\n"
    "  --tree DIRECTORY    the names, sizes and versions of what stands in a directory\n"
    "  --package FILE      the tables of a package that is to be installed\n";

bool write(HANDLE file, const std::string& text) {
    DWORD written = 0;
    return WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
           written == text.size();
}

void describeWindows(Description& description) {
    OSVERSIONINFOEXW version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    RtlGetVersion(&version);
    Json& windows = description.json["windows"];
    windows = {{"version", std::to_string(version.dwMajorVersion) + "." +
                               std::to_string(version.dwMinorVersion) + "." +
                               std::to_string(version.dwBuildNumber)},
               {"bits", is64BitWindows() ? 64 : 32},
               {"languages", Json::array()}};
    ULONG count = 0;
    ULONG size = 0;
    const DWORD flags = MUI_LANGUAGE_ID | MUI_MERGE_SYSTEM_FALLBACK | MUI_MERGE_USER_FALLBACK;
    GetThreadPreferredUILanguages(flags, &count, nullptr, &size);
    std::wstring languages(size, L'\0');
    if (GetThreadPreferredUILanguages(flags, &count, languages.data(), &size)) {
        for (const wchar_t* one = languages.c_str(); *one != L'\0'; one += wcslen(one) + 1) {
            windows["languages"].push_back(utf8(one));
        }
    }
}

bool isLocalSystem(HANDLE token) {
    std::array<BYTE, 256> user = {};
    DWORD size = 0;
    return GetTokenInformation(token, TokenUser, user.data(), static_cast<DWORD>(user.size()),
                               &size) &&
           IsWellKnownSid(reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid, WinLocalSystemSid);
}

void describeProcess(Description& description) {
    Json& process = description.json["process"];
    process = {{"bits", static_cast<int>(sizeof(void*) * 8)},
               {"administrator", IsUserAnAdmin() != FALSE}};
    HANDLE token = nullptr;
    OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token);
    TOKEN_ELEVATION elevation = {};
    DWORD size = 0;
    GetTokenInformation(token, TokenElevation, &elevation, sizeof(elevation), &size);
    process["elevated"] = elevation.TokenIsElevated != 0;
    process["localSystem"] = isLocalSystem(token);
    CloseHandle(token);
    for (const wchar_t* name : {L"TMP", L"TEMP", L"PMT_CA_DEBUG_BREAK"}) {
        std::array<wchar_t, 32767> value = {};
        if (GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())) != 0) {
            process["environment"][utf8(name)] = utf8(value.data());
        }
    }
}

void describeFolders(Description& description) {
    Json& folders = description.json["folders"];
    std::array<wchar_t, MAX_PATH> path = {};
    const auto add = [&](const char* name, UINT length) {
        if (length != 0 && length < path.size()) {
            folders[name] = utf8(path.data());
        }
    };
    add("windows", GetWindowsDirectoryW(path.data(), MAX_PATH));
    add("system", GetSystemDirectoryW(path.data(), MAX_PATH));
    add("wow64", GetSystemWow64DirectoryW(path.data(), MAX_PATH));
    constexpr std::pair<const char*, int> kFolders[] = {
        {"programFilesX86", CSIDL_PROGRAM_FILESX86},
        {"commonFiles", CSIDL_PROGRAM_FILES_COMMON},
        {"commonFilesX86", CSIDL_PROGRAM_FILES_COMMONX86},
        {"commonPrograms", CSIDL_COMMON_PROGRAMS}};
    for (const auto& [name, folder] : kFolders) {
        const HRESULT result = SHGetFolderPathW(nullptr, folder | CSIDL_FLAG_DONT_VERIFY, nullptr,
                                                SHGFP_TYPE_CURRENT, path.data());
        add(name, result == S_OK ? 1 : 0);
    }
}

void describeDrives(Description& description) {
    for (wchar_t letter = L'A'; letter <= L'Z'; ++letter) {
        const std::wstring root{letter, L':', L'\\'};
        constexpr const char* kTypes[] = {nullptr,  nullptr, "removable", "fixed",
                                          "remote", "cdrom", "ramdisk"};
        if (const char* const type = kTypes[GetDriveTypeW(root.c_str())]) {
            description.json["drives"][utf8(root.substr(0, 1))] = type;
        }
    }
}

Description describeMachine() {
    Description description;
    describeWindows(description);
    describeProcess(description);
    describeFolders(description);
    describeDrives(description);
    describeRegistry(description, describeProducts(description));
    describeFiles(description);
    return description;
}

int run(int count, wchar_t** arguments) {
    const HANDLE standard = GetStdHandle(STD_OUTPUT_HANDLE);
    HANDLE output = standard;
    Description description = describeMachine();
    for (int i = 1; i < count; ++i) {
        const std::wstring argument = arguments[i];
        const std::wstring value = i + 1 < count ? arguments[i + 1] : L"";
        const auto isOption = [&](const wchar_t* name) {
            const bool isMeant = argument == name && !value.empty();
            i += isMeant ? 1 : 0;
            return isMeant;
        };
        if (isOption(L"--config")) {
            describeText(description, value);
        } else if (isOption(L"--tree")) {
            describeTree(description, value);
        } else if (isOption(L"--package")) {
            describePackage(description, value);
        } else if (argument.starts_with(L"-")) {
            write(standard, kHelp);
            return argument == L"--help" ? 0 : 2;
        } else {
            output =
                CreateFileW(arguments[i], GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        }
    }
    describePendingMoves(description);
    return write(output, description.json.dump(1) + "\n") ? 0 : 1;
}

}  // namespace

bool Description::wasRead(const std::wstring& what, DWORD status) {
    if (status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND ||
        status == ERROR_PATH_NOT_FOUND) {
        return status == ERROR_SUCCESS;
    }
    json["unread"].push_back({{"what", utf8(what)}, {"status", status}});
    return false;
}

std::string utf8(std::wstring_view text) {
    const int length = static_cast<int>(text.size());
    std::string result(text.size() * 3, '\0');
    result.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(),
                            static_cast<int>(result.size()), nullptr, nullptr)));
    return result;
}

std::wstring wide(const std::string& utf8) {
    std::wstring result(utf8.size(), L'\0');
    result.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), result.data(),
                            static_cast<int>(result.size()))));
    return result;
}

bool sameText(std::wstring_view a, std::wstring_view b) {
    return CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(),
                                static_cast<int>(b.size()), TRUE) == CSTR_EQUAL;
}

bool is64BitWindows() {
    SYSTEM_INFO info = {};
    GetNativeSystemInfo(&info);
    return info.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64;
}

int main() {
    int count = 0;
    wchar_t** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    // A 32-bit process sees the directories by their own names too.
    void* redirection = nullptr;
    Wow64DisableWow64FsRedirection(&redirection);
    if (arguments == nullptr || FAILED(CoInitialize(nullptr))) {
        return 1;
    }
    try {
        return run(count, arguments);
    } catch (const std::exception& e) {
        write(GetStdHandle(STD_ERROR_HANDLE), std::string(e.what()) + "\n");
        return 1;
    }
}
