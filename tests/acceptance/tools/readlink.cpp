// Reads shell links through the shell's own IShellLinkW and prints each as one line of fields in
// UTF-8, separated by tabs: file, target, arguments, description, icon.
#include <windows.h>
#include <objbase.h>
#include <shlobj.h>
#include <shellapi.h>

#include <string>
#include <vector>

namespace {

std::string toUtf8(const std::wstring& text) {
    std::string utf8(text.size() * 4 + 1, '\0');
    utf8.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), utf8.data(),
                            static_cast<int>(utf8.size()), nullptr, nullptr)));
    return utf8;
}

bool printLink(const wchar_t* path) {
    IShellLinkW* link = nullptr;
    IPersistFile* file = nullptr;
    wchar_t target[MAX_PATH] = L"", arguments[1024] = L"", description[1024] = L"", icon[MAX_PATH] = L"";
    int index = 0;
    bool read = SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_ALL, IID_IShellLinkW,
                                           reinterpret_cast<void**>(&link))) &&
                SUCCEEDED(link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file))) &&
                SUCCEEDED(file->Load(path, STGM_READ));
    if (read) {
        link->GetPath(target, MAX_PATH, nullptr, SLGP_RAWPATH);
        link->GetArguments(arguments, 1024);
        link->GetDescription(description, 1024);
        link->GetIconLocation(icon, MAX_PATH, &index);
        const std::string line = toUtf8(std::wstring(path) + L"\t" + target + L"\t" + arguments + L"\t" +
                                        description + L"\t" + icon + L"," + std::to_wstring(index) + L"\n");
        DWORD written;
        WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), line.data(), static_cast<DWORD>(line.size()), &written,
                  nullptr);
    }
    if (file != nullptr) {
        file->Release();
    }
    if (link != nullptr) {
        link->Release();
    }
    return read;
}

}  // namespace

int main() {
    int count = 0;
    wchar_t** arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (arguments == nullptr || FAILED(CoInitialize(nullptr))) {
        return 1;
    }
    bool all = true;
    for (int i = 1; i < count; ++i) {
        all = printLink(arguments[i]) && all;
    }
    CoUninitialize();
    return all ? 0 : 1;
}
