// Writes what the library's actions may read on this machine. docs/dry-run.md has the format.
#include <windows.h>
#include <objbase.h>
#include <shellapi.h>

#include <optional>
#include <stdexcept>

#include "common/share/tstrings.h"
#include "common/windows/WinAutoHandle.h"
#include "describe/Description.h"
#include "windows/common/FileUtils.h"

namespace {

constexpr int kFailed = 1;
constexpr int kBadCall = 2;

constexpr const char* kHelp =
    "describe [FILE] [--config FILE]... [--tree DIRECTORY]... [--package FILE]\n"
    "\n"
    "Writes a description of this machine for the dry run, to FILE or to standard output.\n"
    "It changes nothing. The description is text (JSON); read it before you send it.\n"
    "\n"
    "It contains, and nothing else:\n"
    "  - the version of Windows, the user's language list, whether this process has the rights\n"
    "    of LocalSystem or of an administrator, the temporary directory, PMT_CA_DEBUG_BREAK\n"
    "  - the letters and kinds of the drives, the paths of Windows' and the programs' folders\n"
    "  - the registry below Software\\Halvorex of the machine and of the user with its values,\n"
    "    but of Prefs only that it exists; the file types .vkr and .zpm, the host entries\n"
    "    norv.exe and norvw.exe, the accessibility entry Dovrin_NorvAssistLink\n"
    "  - Path of the machine; entries that are neither Windows' nor the platform's are\n"
    "    replaced by %OTHER1%, %OTHER2%, ...\n"
    "  - of the Norv products, and of no others: codes, names, places, versions, what the\n"
    "    library reads of their packages, DisplayIcon and Readme of their Uninstall keys\n"
    "  - sizes and versions of the files in these products that an update reads, with the\n"
    "    manifest of rt.vkr; the same of the command shims, the two Start menu folders, the\n"
    "    bridge libraries in the system directories, the updater, the library's temporary\n"
    "    files; whether a file is read-only or in use; where links lead\n"
    "  - the content of norv.settings.cfg, and of the files named by --config\n"
    "  - moves of these files that wait for a restart\n"
    "The user's name is replaced by %USERNAME% wherever it is part of a path. Contents of other\n"
    "files, of other registry keys and of other environment variables are not read.\n"
    "\n"
    "  --config FILE       a configuration file, with its content\n"
    "  --tree DIRECTORY    the names, sizes and versions of everything in a directory\n"
    "  --package FILE      a package that is to be installed: what the library reads of its "
    "tables\n"
    "  --help              this text\n"
    "\n"
    "Exit status: 0 when the description was written, 1 when the machine couldn't be described,\n"
    "2 for a bad call or an output that can't be written. What couldn't be read is listed in the\n"
    "part `unread` of the description, with Windows' status.\n";

/// What is wrong with the call, in one line.
class BadCall : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Call {
    bool wantsHelp = false;
    std::optional<tstring> output = {};  ///< standard output without one
    std::vector<tstring> configs = {};
    std::vector<tstring> trees = {};
    std::optional<tstring> package = {};
};

bool write(HANDLE file, const std::string& text) {
    DWORD written = 0;
    return WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
           written == text.size();
}

int fail(int status, const std::string& message) {
    write(GetStdHandle(STD_ERROR_HANDLE), "describe: " + message + "\n");
    return status;
}

void requireFile(const tstring& path, const char* option) {
    if (!FileUtils::isFile(path)) {
        throw BadCall(std::string(option) + ": there is no file " + tstrings::toUtf8(path));
    }
}

void requireAny(const tstring& path, const char* option) {
    if (!FileUtils::exists(path)) {
        throw BadCall(std::string(option) + ": there is no directory " + tstrings::toUtf8(path));
    }
}

/// Reads an option with its value. Returns whether `name` is one.
bool readOption(const tstring& name, const std::optional<tstring>& value, Call& call) {
    if (name != L"--config" && name != L"--tree" && name != L"--package") {
        return false;
    }
    if (!value || value->empty()) {
        throw BadCall(tstrings::toUtf8(name) + " needs a path");
    }
    if (name == L"--config") {
        requireFile(*value, "--config");
        call.configs.push_back(*value);
    } else if (name == L"--tree") {
        requireAny(*value, "--tree");
        call.trees.push_back(*value);
    } else if (call.package) {
        throw BadCall("--package: one package alone");
    } else {
        requireFile(*value, "--package");
        call.package = *value;
    }
    return true;
}

/// Throws BadCall.
Call readCall(const std::vector<tstring>& arguments) {
    Call call;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const bool hasNext = i + 1 < arguments.size();
        if (readOption(arguments[i], hasNext ? std::optional(arguments[i + 1]) : std::nullopt,
                       call)) {
            ++i;
        } else if (arguments[i] == L"--help") {
            call.wantsHelp = true;
        } else if (arguments[i].empty() || arguments[i].starts_with(L"-")) {
            throw BadCall("unknown option \"" + tstrings::toUtf8(arguments[i]) +
                          "\"; --help lists them");
        } else if (call.output) {
            throw BadCall("more than one file to write to: " + tstrings::toUtf8(arguments[i]));
        } else {
            call.output = arguments[i];
        }
    }
    return call;
}

Json describe(const Call& call) {
    Description description;
    describeMachine(description);
    describeRegistry(description, describeProducts(description));
    describeFiles(description);
    for (const tstring& config : call.configs) {
        describeContent(description, config);
    }
    for (const tstring& tree : call.trees) {
        describeTree(description, tree);
    }
    if (call.package) {
        describePackage(description, *call.package);
    }
    describePendingMoves(description);
    hideNames(description);
    return description.json;
}

/// Writes to a file or to standard output. Throws BadCall.
void writeOutput(const std::optional<tstring>& path, const std::string& text) {
    if (!path) {
        if (!write(GetStdHandle(STD_OUTPUT_HANDLE), text)) {
            throw BadCall("can't write to standard output");
        }
        return;
    }
    const WinHandle file(CreateFileW(path->c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                     FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file || !write(file.get(), text)) {
        throw BadCall("can't write " + tstrings::toUtf8(*path) + ": Windows' status " +
                      std::to_string(GetLastError()));
    }
}

int run(const std::vector<tstring>& arguments) {
    const Call call = readCall(arguments);
    if (call.wantsHelp) {
        write(GetStdHandle(STD_OUTPUT_HANDLE), kHelp);
        return 0;
    }
    if (FAILED(CoInitialize(nullptr))) {
        return fail(kFailed, "COM can't be started");
    }
    const Json description = describe(call);
    writeOutput(call.output,
                description.dump(1, ' ', false, Json::error_handler_t::replace) + "\n");
    return 0;
}

}  // namespace

int main() {
    // A 32-bit process sees the directories by their own names too.
    void* redirection = nullptr;
    Wow64DisableWow64FsRedirection(&redirection);
    int count = 0;
    TCHAR** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (arguments == nullptr) {
        return fail(kFailed, "Windows doesn't tell the arguments");
    }
    try {
        return run({arguments + 1, arguments + count});
    } catch (const BadCall& e) {
        return fail(kBadCall, e.what());
    } catch (const std::exception& e) {
        return fail(kFailed, e.what());
    }
}
