#include <windows.h>
#include <winioctl.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <set>

#include "common/share/GrowingBuffer.h"
#include "common/share/ProcessPaths.h"
#include "common/share/tstrings.h"
#include "common/windows/WinAutoHandle.h"
#include "describe/Description.h"
#include "windows/common/Paths.h"
#include "windows/common/ReparsePoint.h"
#include "windows/common/SysInfo.h"
#include "windows/common/VersionResource.h"
#include "windows/common/unzip/unzip.h"

namespace {

/// What detection, the managers and the clean-up look at below a product's home directory.
constexpr const TCHAR* kLauncher = L"bin\\norv.exe";
constexpr const TCHAR* kHomeFiles[] = {
    L"bin\\norvw.exe", L"bin\\norvc.exe", L"bin\\norvcpl.exe",          L"bin\\alinkswitch.exe",
    L"bin\\wmq.exe",   L"lib\\rt.vkr",    L"qvr\\bin\\alinkswitch.exe", L"core.zip",
    L"patchqvr.exe",   L"tools.zip"};
constexpr const TCHAR* kBridges[] = {L"WindowsAssistLink.dll", L"WindowsAssistLink-32.dll",
                                     L"WindowsAssistLink-64.dll"};
constexpr const TCHAR* kUpdaterFiles[] = {L"tolpeck.exe", L"tolmark.exe", L"vomlit.exe"};
constexpr const TCHAR* kManifest = L"META-INF/MANIFEST.MF";
constexpr std::size_t kMaxContent = 1048576;
constexpr std::size_t kMaxEntries = 20000;
constexpr std::size_t kMaxPathUnits = 32000;
constexpr std::size_t kMaxDirectoryUnits = 248;
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

bool isSlash(TCHAR c) {
    return c == L'\\' || c == L'/';
}

bool isShare(const tstring& path) {
    return path.starts_with(L"\\\\");
}

/// A path as Windows takes it without its limit of 260 characters.
tstring unlimited(const tstring& path) {
    if (path.size() < kMaxDirectoryUnits) {
        return path;
    }
    return isShare(path) ? L"\\\\?\\UNC" + path.substr(1) : L"\\\\?\\" + path;
}

/// The inverse, also for what Windows returns so.
tstring plain(const tstring& path) {
    constexpr std::wstring_view kUnc = L"\\\\?\\UNC\\";
    constexpr std::wstring_view kLocal = L"\\\\?\\";
    if (path.starts_with(kUnc)) {
        return L"\\\\" + path.substr(kUnc.size());
    }
    return path.substr(path.starts_with(kLocal) ? kLocal.size() : 0);
}

bool isAbsolute(const tstring& path) {
    const bool isLocal = path.size() > 2 && path[1] == L':' && isSlash(path[2]);
    return isLocal || (path.size() > 2 && isSlash(path[0]) && isSlash(path[1]));
}

bool isDrive(const tstring& path) {
    return path.size() == 2 && path[1] == L':';
}

/// The directory above; empty above a drive and above a share, whose server has no files.
tstring directoryAbove(const tstring& path) {
    constexpr std::ptrdiff_t kSeparatorsOfShare = 3;
    const bool isRoot =
        isShare(path) && std::count(path.begin(), path.end(), L'\\') <= kSeparatorsOfShare;
    return isRoot ? tstring() : FileUtils::dirname(path);
}

/// Returns the full path, with the long names of the files that exist, without a trailing
/// separator.
tstring canonical(const tstring& path) {
    const tstring full = readGrowing<tstring>(MAX_PATH, [&](TCHAR* text, std::size_t size) {
        return GetFullPathNameW(path.c_str(), static_cast<DWORD>(size), text, nullptr);
    });
    if (full.find(L'~') == tstring::npos) {
        return FileUtils::removeTrailingSlash(plain(full));
    }
    const tstring longNames = readGrowing<tstring>(MAX_PATH, [&](TCHAR* text, std::size_t size) {
        return GetLongPathNameW(unlimited(plain(full)).c_str(), text, static_cast<DWORD>(size));
    });
    return FileUtils::removeTrailingSlash(plain(longNames.empty() ? full : longNames));
}

WinHandle openFile(const tstring& path, DWORD access, DWORD flags = 0) {
    return WinHandle(CreateFileW(unlimited(path).c_str(), access, kShareAll, nullptr, OPEN_EXISTING,
                                 flags, nullptr));
}

/// Whether a file is kept open so that it can be neither written nor deleted. A program or library
/// that runs refuses the first alone when it is asked for. Asking changes nothing.
bool isInUse(const tstring& path) {
    for (const DWORD access : {DWORD{GENERIC_WRITE}, DWORD{DELETE}}) {
        if (!openFile(path, access) && GetLastError() == ERROR_SHARING_VIOLATION) {
            return true;
        }
    }
    return false;
}

/// Returns the final target of a link; empty if it doesn't exist.
tstring finalPath(const tstring& link) {
    const WinHandle file = openFile(link, 0, FILE_FLAG_BACKUP_SEMANTICS);
    if (!file) {
        return tstring();
    }
    return plain(readGrowing<tstring>(MAX_PATH, [&](TCHAR* text, std::size_t size) {
        return GetFinalPathNameByHandleW(file.get(), text, static_cast<DWORD>(size), 0);
    }));
}

/// The substitute name of a junction or symbolic link as it is stored; empty for what isn't one.
tstring storedName(const ReparseBuffer& buffer) {
    const std::size_t begin =
        buffer.pathBuffer() + buffer.number(ReparseBuffer::kSubstituteNameOffset);
    const std::size_t length = buffer.number(ReparseBuffer::kSubstituteNameLength);
    if (buffer.pathBuffer() == 0 || begin + length > ReparseBuffer::kSize) {
        return tstring();
    }
    tstring name(length / sizeof(TCHAR), L'\0');
    std::copy_n(buffer.bytes + begin, name.size() * sizeof(TCHAR),
                reinterpret_cast<BYTE*>(name.data()));
    return name;
}

/// A reparse point as the format has it: "C:\x" for "\??\C:\x", other names of the kernel's as they
/// are, and the whole buffer where it holds no such name.
Json linkJson(const ReparseBuffer& buffer, DWORD size) {
    constexpr std::wstring_view kKernelPrefix = L"\\??\\";
    const tstring name = storedName(buffer);
    const std::string utf8 = tstrings::toUtf8(name);
    const bool isText = name.find(L'\0') == tstring::npos && tstrings::fromUtf8(utf8) == name;
    if (isText && name.starts_with(kKernelPrefix)) {
        const tstring path = name.substr(kKernelPrefix.size());
        const bool isDrivePath = path.size() > 2 && path[1] == L':' && path[2] == L'\\';
        return isDrivePath ? Json(tstrings::toUtf8(path)) : Json(utf8);
    }
    return hexJson(std::string(reinterpret_cast<const char*>(buffer.bytes), size));
}

/// At most `maxSize` bytes of a file; `status` becomes that of reading them.
std::string readFile(const tstring& path, std::size_t maxSize, DWORD& status) {
    const WinHandle file = openFile(path, GENERIC_READ);
    std::string bytes(maxSize, '\0');
    DWORD count = 0;
    const bool isRead =
        file && ReadFile(file.get(), bytes.data(), static_cast<DWORD>(maxSize), &count, nullptr);
    status = isRead ? ERROR_SUCCESS : GetLastError();
    bytes.resize(count);
    return bytes;
}

/// The file version as text; empty for a file without one.
std::string versionOf(const tstring& path) {
    try {
        const std::array<std::uint16_t, 4> numbers = FileUtils::getFileVersion(path);
        return std::to_string(numbers[0]) + "." + std::to_string(numbers[1]) + "." +
               std::to_string(numbers[2]) + "." + std::to_string(numbers[3]);
    } catch (const std::exception&) {
        return std::string();
    }
}

/// Reads the manifest as the library does; nothing where the library finds none.
std::optional<std::string> manifestOf(const tstring& path) {
    try {
        return ZipFile(path).extractEntryAsUtf8String(kManifest);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

bool isLogFile(const tstring& name) {
    return sameName(name, L"tolmark.log");
}

bool hasSuffix(const tstring& path, const TCHAR* suffix) {
    return sameName(FileUtils::suffix(path), suffix);
}

class Files {
public:
    explicit Files(Description& description) : description_(description) {
        Json& described = description.json["files"];
        described = described.is_object() ? described : Json::object();
        for (const auto& [path, facts] : described.items()) {
            names_.emplace(tstrings::fromUtf8(path), path);
        }
    }

    /// Describes whatever has this path, a directory for itself alone.
    void file(const tstring& path) {
        const auto facts = attributes(path);
        if (!facts) {
            return;
        }
        if ((facts->dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            directory(path, *facts);
        } else {
            plainFile(path, *facts);
        }
    }

    /// Describes a directory for itself. Returns whether it is one, be it by a link.
    bool directory(const tstring& path) {
        const auto facts = attributes(path);
        const bool is = facts && (facts->dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        if (is) {
            directory(path, *facts);
        }
        return is;
    }

    /// Describes a path with everything below it, also where a link leads.
    void tree(const tstring& path) {
        place(path);
        if (!visitedTrees_.insert(path).second) {
            return;
        }
        if (visitedTrees_.size() > kMaxEntries) {
            description_.addUnread(path, ERROR_TOO_MANY_NAMES);
            return;
        }
        file(path);
        const auto facts = attributes(path);
        if (!facts || (facts->dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            return;
        }
        if ((facts->dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
            if (const tstring target = finalPath(path); !target.empty()) {
                tree(target);
            }
            return;
        }
        for (const tstring& name : namesIn(path, L"*")) {
            tree(FileUtils::combinePath(path, name));
        }
    }

    /// The names in a directory that match a pattern.
    std::vector<tstring> namesIn(const tstring& path, const TCHAR* pattern) {
        std::vector<tstring> names;
        WIN32_FIND_DATAW found = {};
        const FindHandle search(
            FindFirstFileW(unlimited(FileUtils::combinePath(path, pattern)).c_str(), &found));
        if (!description_.wasRead(path, search ? ERROR_SUCCESS : GetLastError())) {
            return names;
        }
        do {
            const tstring name = found.cFileName;
            if (name != L"." && name != L".." && !isLogFile(name)) {
                names.push_back(name);
            }
        } while (FindNextFileW(search.get(), &found));
        const DWORD status = GetLastError();
        description_.wasRead(path, status == ERROR_NO_MORE_FILES ? ERROR_SUCCESS : status);
        return names;
    }

    void bridges(const tstring& directory) {
        for (const TCHAR* name : kBridges) {
            place(FileUtils::combinePath(directory, name));
            file(FileUtils::combinePath(directory, name));
        }
    }

    /// Describes the home directories that a path names: itself, where it leads, and those above it
    /// that have a launcher. `source` names the fact that the path is from.
    void homesFrom(const tstring& named, const tstring& source) {
        if (named.empty()) {
            return;
        }
        if (!isAbsolute(named)) {
            description_.addUnread(source, ERROR_BAD_PATHNAME);
            return;
        }
        const tstring path = canonical(named);
        home(path);
        if (unreachable_.contains(path)) {
            return;
        }
        for (tstring above = directoryAbove(path); !above.empty(); above = directoryAbove(above)) {
            if (visitedHomes_.contains(above) || !visitedParents_.insert(above).second) {
                return;
            }
            if (exists(FileUtils::combinePath(above, kLauncher))) {
                home(above);
            }
        }
    }

    /// A file with its content.
    void content(const tstring& path) {
        const auto facts = attributes(path);
        if (!facts) {
            return;
        }
        file(path);
        if ((facts->dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            return;
        }
        DWORD status = ERROR_SUCCESS;
        const std::string bytes = readFile(path, kMaxContent + 1, status);
        status = bytes.size() > kMaxContent ? ERROR_FILE_TOO_LARGE : status;
        Json* const json = entry(path);
        if (json != nullptr && description_.wasRead(path, status) && !bytes.empty()) {
            json->erase("size");
            (*json)["text"] = bytesJson(bytes);
        }
    }

    /// Notes where an update works.
    void place(const tstring& path) { description_.places.push_back(path); }

private:
    using Facts = WIN32_FILE_ATTRIBUTE_DATA;

    std::optional<Facts> attributes(const tstring& path) {
        Facts facts = {};
        const tstring asked = isDrive(path) ? path + L"\\" : unlimited(path);
        if (GetFileAttributesExW(asked.c_str(), GetFileExInfoStandard, &facts)) {
            return facts;
        }
        const DWORD status = GetLastError();
        if (isShare(path)) {
            unreachable_.insert(path);
        }
        // A string that is no valid file name belongs to no existing file.
        description_.wasRead(path, status == ERROR_INVALID_NAME ? ERROR_FILE_NOT_FOUND : status);
        return std::nullopt;
    }

    static bool exists(const tstring& path) {
        return GetFileAttributesW(unlimited(path).c_str()) != INVALID_FILE_ATTRIBUTES;
    }

    void home(const tstring& path) {
        if (!visitedHomes_.insert(path).second) {
            return;
        }
        if (!directory(path)) {
            return;
        }
        const tstring final = finalPath(path);
        if (isLink(path) && !final.empty()) {
            home(canonical(final));
            return;
        }
        place(path);
        file(FileUtils::combinePath(path, kLauncher));
        // Of the other tools the library only checks whether they exist.
        wantsVersions_ = false;
        for (const TCHAR* name : kHomeFiles) {
            file(FileUtils::combinePath(path, name));
        }
        wantsVersions_ = true;
        bridges(FileUtils::combinePath(path, L"bin"));
        bridges(FileUtils::combinePath(path, L"qvr\\bin"));
    }

    static bool isLink(const tstring& path) {
        const DWORD attributes = GetFileAttributesW(unlimited(path).c_str());
        return attributes != INVALID_FILE_ATTRIBUTES &&
               (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    }

    /// The object of a path, under the name by which it was first described; null and a note for a
    /// path that can't be written.
    Json* entry(const tstring& path) {
        const auto known = names_.find(path);
        if (known != names_.end()) {
            return &description_.json["files"][known->second];
        }
        if (path.size() > kMaxPathUnits) {
            description_.addUnread(path, ERROR_FILENAME_EXCED_RANGE);
            return nullptr;
        }
        const auto name = description_.exactText(path, path);
        if (!name) {
            return nullptr;
        }
        names_.emplace(path, *name);
        Json& json = description_.json["files"][*name];
        json = Json::object();
        return &json;
    }

    void directory(const tstring& path, const Facts& facts) {
        Json* const json = isDrive(path) ? nullptr : entry(path + L"\\");
        if (json != nullptr && (facts.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
            link(path, *json);
        }
    }

    void link(const tstring& path, Json& json) {
        const WinHandle file =
            openFile(path, 0, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT);
        ReparseBuffer buffer;
        DWORD size = 0;
        const bool isRead =
            file && DeviceIoControl(file.get(), FSCTL_GET_REPARSE_POINT, nullptr, 0, buffer.bytes,
                                    ReparseBuffer::kSize, &size, nullptr);
        if (description_.wasRead(path, isRead ? ERROR_SUCCESS : GetLastError())) {
            json["link"] = linkJson(buffer, size);
        }
    }

    void plainFile(const tstring& path, const Facts& facts) {
        Json* const json = entry(path);
        if (json == nullptr) {
            return;
        }
        if ((facts.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
            link(path, *json);
            return;
        }
        const auto shortcut = hasSuffix(path, L".lnk") || hasSuffix(path, L".url")
                                  ? shortcutOf(description_, path)
                                  : std::nullopt;
        if (shortcut) {
            (*json)["shortcut"] = *shortcut;
        } else {
            (*json)["size"] = (std::uint64_t{facts.nFileSizeHigh} << 32) + facts.nFileSizeLow;
        }
        const std::string version = wantsVersions_ ? versionOf(path) : std::string();
        if (!version.empty()) {
            (*json)["version"] = version;
        }
        if ((facts.dwFileAttributes & FILE_ATTRIBUTE_READONLY) != 0) {
            (*json)["readOnly"] = true;
        }
        if (isInUse(path)) {
            (*json)["inUse"] = true;
        }
        if (sameName(FileUtils::basename(path), L"rt.vkr")) {
            manifest(path, *json);
        }
    }

    void manifest(const tstring& path, Json& json) {
        DWORD status = ERROR_SUCCESS;
        readFile(path, 1, status);
        const auto bytes = status == ERROR_SUCCESS ? manifestOf(path) : std::nullopt;
        if (bytes && bytes->size() > kMaxContent) {
            status = ERROR_FILE_TOO_LARGE;
        }
        if (description_.wasRead(path, status) && bytes) {
            json["manifest"] = bytesJson(*bytes);
        }
    }

    Description& description_;
    bool wantsVersions_ = true;
    std::map<tstring, std::string, NameLess> names_;
    std::set<tstring, NameLess> visitedTrees_;
    std::set<tstring, NameLess> visitedHomes_;
    std::set<tstring, NameLess> visitedParents_;
    /// What isn't there on a share, or can't be reached: asking for more there may cost seconds.
    std::set<tstring, NameLess> unreachable_;
};

void describeHomes(Files& files, const Description& description) {
    const auto from = [&](const tstring& owner, const Json& facts,
                          std::initializer_list<const char*> names) {
        for (const char* name : names) {
            if (facts.contains(name)) {
                const tstring source = owner + L" [" + tstrings::fromUtf8(name) + L"]";
                files.homesFrom(textOf(facts[name]), source);
            }
        }
    };
    for (const Json& product : description.json.value("products", Json::array())) {
        from(textOf(product["code"]), product.value("info", Json::object()),
             {"InstallLocation", "ProductIcon"});
    }
    const Json registry = description.json.value("registry", Json::object());
    for (const auto& [key, values] : registry.items()) {
        from(tstrings::fromUtf8(key), values, {"NorvHome", "DisplayIcon", "Readme"});
    }
}

void describeShims(Files& files, const tstring& directory) {
    files.directory(directory);
    for (const TCHAR* pattern : {L"norvpath*", L"norvtmp"}) {
        for (const tstring& name : files.namesIn(directory, pattern)) {
            files.tree(FileUtils::combinePath(directory, name));
        }
    }
}

void describeUpdater(Files& files, const tstring& directory) {
    files.place(directory);
    files.directory(directory);
    for (const TCHAR* name : kUpdaterFiles) {
        files.file(FileUtils::combinePath(directory, name));
    }
}

/// The directory that packages must not be installed to.
void describeReservedLocation(Files& files, const Description& description) {
    // On a 64-bit Windows the registry has the program directory.
    const tstring programs = description.registryText(
        "HKLM\\Software\\Microsoft\\Windows\\CurrentVersion", "ProgramFilesDir");
    const tstring latest = SysInfo::is64BitOs()
                               ? FileUtils::combinePath(programs, L"Norv\\latest")
                               : description.folder("programFilesX86", L"Norv\\latest");
    if (isAbsolute(latest)) {
        files.directory(latest);
        files.file(FileUtils::combinePath(latest, L"qvk-21"));
    }
}

/// The temporary files of the library have numbers for names.
bool isTemporaryFile(const tstring& name) {
    constexpr std::size_t kSuffixSize = 4;
    return name.size() > kSuffixSize &&
           name.find_first_not_of(L"0123456789") == name.size() - kSuffixSize;
}

void describeTemporaryFiles(Files& files) {
    const tstring directory = canonical(temporaryDirectory());
    if (!files.directory(directory)) {
        return;
    }
    for (const tstring& name : files.namesIn(directory, L"*.tmp")) {
        if (isTemporaryFile(name)) {
            files.file(FileUtils::combinePath(directory, name));
        }
    }
}

/// Removes the directories that follow from what is in them, which is after them in the order.
void dropImplied(Json& files) {
    for (auto entry = files.begin(); entry != files.end();) {
        const auto next = std::next(entry);
        const bool isImplied = entry.key().ends_with('\\') && entry->empty() &&
                               next != files.end() && next.key().starts_with(entry.key());
        entry = isImplied ? files.erase(entry) : next;
    }
}

/// Calls a reader with a path below a folder that is known.
template <class Read>
void below(const Description& description, const char* folder, const TCHAR* path,
           const Read& read) {
    if (const tstring whole = description.folder(folder, path); !whole.empty()) {
        read(whole);
    }
}

}  // namespace

void describeFiles(Description& description) {
    Files files(description);
    const auto in = [&](const char* folder, const TCHAR* path, const auto& read) {
        below(description, folder, path, read);
    };
    describeHomes(files, description);
    in("system", L"", [&](const tstring& path) { files.bridges(path); });
    in("wow64", L"", [&](const tstring& path) { files.bridges(path); });
    in("commonPrograms", L"Norv", [&](const tstring& path) { files.tree(path); });
    in("commonPrograms", L"Norv Development Kit", [&](const tstring& path) { files.tree(path); });
    in("commonFiles", L"Dovrin\\Norv", [&](const tstring& path) { describeShims(files, path); });
    in("commonFilesX86", L"Norv\\Norv Update",
       [&](const tstring& path) { describeUpdater(files, path); });
    in("commonFilesX86", L"Dovrin\\Norv\\norv.settings.cfg",
       [&](const tstring& path) { files.content(path); });
    describeReservedLocation(files, description);
    describeTemporaryFiles(files);
    dropImplied(description.json["files"]);
}

void describeTree(Description& description, const tstring& path) {
    Files(description).tree(canonical(path));
    dropImplied(description.json["files"]);
}

void describeFile(Description& description, const tstring& path) {
    Files(description).file(path);
    dropImplied(description.json["files"]);
}

void describeContent(Description& description, const tstring& path) {
    Files(description).content(canonical(path));
}
