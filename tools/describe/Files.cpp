#include <algorithm>
#include <array>

#include "describe/Description.h"
#include "zip/zip.h"

namespace {

/// What detection, the managers and the clean-up look at below a product's home directory.
constexpr const wchar_t* kHomeFiles[] = {L"bin\\norv.exe",
                                         L"bin\\norvw.exe",
                                         L"bin\\norvc.exe",
                                         L"bin\\norvcpl.exe",
                                         L"bin\\alinkswitch.exe",
                                         L"bin\\wmq.exe",
                                         L"lib\\rt.vkr",
                                         L"qvr\\bin\\alinkswitch.exe",
                                         L"core.zip",
                                         L"patchqvr.exe",
                                         L"tools.zip"};
constexpr const wchar_t* kBridges[] = {L"WindowsAssistLink.dll", L"WindowsAssistLink-32.dll",
                                       L"WindowsAssistLink-64.dll"};
constexpr std::size_t kMostText = 1048576;
constexpr std::int32_t kMostManifest = 1048576;

std::wstring join(const std::wstring& directory, const std::wstring& name) {
    return directory + (directory.ends_with(L'\\') ? L"" : L"\\") + name;
}

std::wstring withoutSeparator(std::wstring path) {
    while (path.ends_with(L'\\')) {
        path.pop_back();
    }
    return path;
}

/// Whether the attributes of something that is there have a bit.
bool hasAttribute(const std::wstring& path, DWORD bit) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & bit) != 0;
}

bool isDirectory(const std::wstring& path) {
    return hasAttribute(path, FILE_ATTRIBUTE_DIRECTORY);
}

std::string versionOf(const std::wstring& path) {
    DWORD unused = 0;
    std::string block(GetFileVersionInfoSizeW(path.c_str(), &unused), '\0');
    VS_FIXEDFILEINFO* info = nullptr;
    UINT size = 0;
    if (block.empty() ||
        !GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(block.size()), block.data()) ||
        !VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &size)) {
        return {};
    }
    const auto text = [](DWORD pair) {
        return std::to_string(HIWORD(pair)) + "." + std::to_string(LOWORD(pair));
    };
    return text(info->dwFileVersionMS) + "." + text(info->dwFileVersionLS);
}

/// Whether another program runs the file or shares it with nobody who deletes. Asking for the right
/// to delete deletes nothing.
bool isInUse(const std::wstring& path) {
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE file =
        CreateFileW(path.c_str(), DELETE, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr);
    const DWORD status = GetLastError();
    CloseHandle(file);
    return file == INVALID_HANDLE_VALUE && status == ERROR_SHARING_VIOLATION;
}

/// What a junction or symbolic link leads to.
std::wstring linkTarget(const std::wstring& path) {
    std::array<wchar_t, 4096> target = {};
    const HANDLE file = CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    GetFinalPathNameByHandleW(file, target.data(), static_cast<DWORD>(target.size()), 0);
    CloseHandle(file);
    const std::wstring text = target.data();
    return text.substr(text.starts_with(L"\\\\?\\") ? 4 : 0);
}

std::string readFile(const std::wstring& path, std::size_t most, DWORD& status) {
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE file =
        CreateFileW(path.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr);
    std::string bytes(most, '\0');
    DWORD count = 0;
    const bool isRead = file != INVALID_HANDLE_VALUE &&
                        ReadFile(file, bytes.data(), static_cast<DWORD>(most), &count, nullptr);
    status = isRead ? ERROR_SUCCESS : GetLastError();
    CloseHandle(file);
    bytes.resize(count);
    return bytes;
}

/// The text of META-INF/MANIFEST.MF in an archive; on failure the status is another than 0.
std::string manifestOf(const std::wstring& path, DWORD& status) {
    readFile(path, 1, status);
    char* message = nullptr;
    nzfile* const archive = status == 0 ? ZIP_Open(utf8(path).c_str(), &message) : nullptr;
    if (archive == nullptr) {
        status = status == 0 ? ERROR_BAD_FORMAT : status;
        return {};
    }
    std::int32_t size = 0;
    std::int32_t nameLength = 0;
    nzentry* const entry = ZIP_FindEntry(archive, "META-INF/MANIFEST.MF", &size, &nameLength);
    std::string text(static_cast<std::size_t>(std::clamp(size, 0, kMostManifest)), '\0');
    std::string name(static_cast<std::size_t>(nameLength) + 1, '\0');
    status = entry == nullptr ? ERROR_FILE_NOT_FOUND
             : size <= kMostManifest && ZIP_ReadEntry(archive, entry, text.data(), name.data()) != 0
                 ? ERROR_SUCCESS
                 : ERROR_BAD_FORMAT;
    ZIP_Close(archive);
    return status == ERROR_SUCCESS ? text : std::string();
}

class Files {
public:
    explicit Files(Description& description) : description_(description) {}

    void file(const std::wstring& path) {
        WIN32_FILE_ATTRIBUTE_DATA facts = {};
        if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &facts)) {
            description_.wasRead(path, GetLastError());
        } else if (!isDirectory(path)) {
            describe(path, facts.nFileSizeHigh * 0x100000000 + facts.nFileSizeLow);
        } else {
            directory(path);
        }
    }

    /// A directory for itself; whether what is in it belongs to it, which is not so of a link.
    bool directory(const std::wstring& path) {
        const bool isLink = hasAttribute(path, FILE_ATTRIBUTE_REPARSE_POINT);
        if (isDirectory(path)) {
            entry(path + L"\\") = isLink ? Json{{"link", utf8(linkTarget(path))}} : Json::object();
        }
        return isDirectory(path) && !isLink;
    }

    void tree(const std::wstring& path) {
        place(path);
        if (!directory(path)) {
            file(path);
            return;
        }
        each(path, L"*", [&](const std::wstring& name) { tree(join(path, name)); });
    }

    /// Calls a function with the names in a directory that fit a pattern.
    template <class Take>
    void each(const std::wstring& path, const wchar_t* pattern, const Take& take) {
        WIN32_FIND_DATAW found = {};
        const HANDLE search = FindFirstFileW(join(path, pattern).c_str(), &found);
        bool isFound = description_.wasRead(
            path, search == INVALID_HANDLE_VALUE ? GetLastError() : ERROR_SUCCESS);
        for (; isFound; isFound = FindNextFileW(search, &found)) {
            const std::wstring name = found.cFileName;
            if (name != L"." && name != L".." && !sameText(name, L"tolmark.log")) {
                take(name);
            }
        }
        FindClose(search);
    }

    void bridges(const std::wstring& directory) {
        for (const wchar_t* name : kBridges) {
            place(join(directory, name));
            file(join(directory, name));
        }
    }

    void home(const std::wstring& path) {
        if (path.size() < 3 || path[1] != L':' || !directory(path)) {
            return;
        }
        place(path);
        for (const wchar_t* name : kHomeFiles) {
            file(join(path, name));
        }
        bridges(join(path, L"bin"));
        bridges(join(path, L"qvr\\bin"));
    }

    /// A path that a product's home is told or guessed by, and those above it that may be one.
    void homesFrom(const std::wstring& told) {
        home(withoutSeparator(told));
        for (std::wstring path = withoutSeparator(told); path.find(L'\\') != path.npos;) {
            path.resize(path.rfind(L'\\'));
            if (hasAttribute(join(path, L"bin\\norv.exe"), ~0u)) {
                home(path);
            }
        }
    }

    void text(const std::wstring& path) {
        DWORD status = ERROR_SUCCESS;
        const std::string content = readFile(path, kMostText + 1, status);
        if (status == ERROR_SUCCESS && utf8(wide(content)) != content) {
            status = ERROR_NO_UNICODE_TRANSLATION;
        }
        if (description_.wasRead(path, status)) {
            entry(path) = {{"text", content}};
        }
    }

    void place(const std::wstring& path) { description_.places.push_back(path); }

private:
    Json& entry(const std::wstring& path) { return description_.json["files"][utf8(path)]; }

    void describe(const std::wstring& path, std::uint64_t size) {
        Json& json = entry(path) = Json::object();
        if (path.ends_with(L".lnk") || path.ends_with(L".url")) {
            json["shortcut"] = shortcutOf(path);
        } else {
            json["size"] = size;
        }
        if (const std::string version = versionOf(path); !version.empty()) {
            json["version"] = version;
        }
        if (hasAttribute(path, FILE_ATTRIBUTE_READONLY)) {
            json["readOnly"] = true;
        }
        if (isInUse(path)) {
            json["inUse"] = true;
        }
        DWORD status = ERROR_SUCCESS;
        const std::string manifest =
            path.ends_with(L"\\rt.vkr") ? manifestOf(path, status) : std::string();
        if (description_.wasRead(path, status) && !manifest.empty()) {
            json["manifest"] = manifest;
        }
    }

    Description& description_;
};

void describeHomes(Files& files, const Description& description) {
    const auto from = [&](const Json& facts, std::initializer_list<const char*> names) {
        for (const char* name : names) {
            const auto found = facts.find(name);
            files.homesFrom(found != facts.end() && found->is_string() ? wide(*found) : L"");
        }
    };
    for (const Json& product : description.json.value("products", Json::array())) {
        from(product["info"], {"InstallLocation", "ProductIcon"});
    }
    const Json registry = description.json.value("registry", Json::object());
    for (const Json& key : registry) {
        from(key, {"NorvHome", "DisplayIcon", "Readme"});
    }
}

/// Drops the directories that show in what stands in them, which follows them in order.
void dropImplied(Json& files) {
    for (auto entry = files.begin(); entry != files.end();) {
        const auto next = std::next(entry);
        const bool isImplied = entry.key().ends_with('\\') && entry->empty() &&
                               next != files.end() && next.key().starts_with(entry.key());
        entry = isImplied ? files.erase(entry) : next;
    }
}

}  // namespace

void describeFiles(Description& description) {
    Files files(description);
    const auto folder = [&](const char* name, const wchar_t* below) {
        return join(wide(description.json["folders"].value(name, "")), below);
    };
    describeHomes(files, description);
    files.bridges(folder("system", L""));
    files.bridges(folder("wow64", L""));
    files.tree(folder("commonPrograms", L"Norv"));
    files.tree(folder("commonPrograms", L"Norv Development Kit"));
    const std::wstring shims = folder("commonFiles", L"Dovrin\\Norv");
    files.directory(shims);
    for (const wchar_t* pattern : {L"norvpath*", L"norvtmp"}) {
        files.each(shims, pattern,
                   [&](const std::wstring& name) { files.tree(join(shims, name)); });
    }
    const std::wstring updater = folder("commonFilesX86", L"Norv\\Norv Update");
    files.place(updater);
    files.directory(updater);
    for (const wchar_t* name : {L"tolpeck.exe", L"tolmark.exe", L"vomlit.exe"}) {
        files.file(join(updater, name));
    }
    files.text(folder("commonFilesX86", L"Dovrin\\Norv\\norv.settings.cfg"));
    // On a 64-bit Windows the program directory is told by the registry.
    const Json windows = description.json["registry"].value(
        "HKLM\\Software\\Microsoft\\Windows\\CurrentVersion", Json::object());
    const std::wstring latest =
        is64BitWindows() ? join(wide(windows.value("ProgramFilesDir", "")), L"Norv\\latest")
                         : folder("programFilesX86", L"Norv\\latest");
    files.directory(latest);
    files.file(join(latest, L"qvk-21"));
    std::array<wchar_t, MAX_PATH + 1> buffer = {};
    GetTempPathW(static_cast<DWORD>(buffer.size()), buffer.data());
    const std::wstring temporary = withoutSeparator(buffer.data());
    files.directory(temporary);
    // The library's own temporary files are numbers.
    files.each(temporary, L"*.tmp", [&](const std::wstring& name) {
        if (name.find_first_not_of(L"0123456789") == name.size() - 4) {
            files.file(join(temporary, name));
        }
    });
    dropImplied(description.json["files"]);
}

void describeTree(Description& description, const std::wstring& path) {
    Files(description).tree(withoutSeparator(path));
    dropImplied(description.json["files"]);
}

void describeText(Description& description, const std::wstring& path) {
    Files(description).text(path);
}
