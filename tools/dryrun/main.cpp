// What an action would do to a described machine. docs/dry-run.md tells how it is called.
#include <windows.h>
#include <shlobj.h>
#include <dlfcn.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iostream>
#include <sstream>

#include "dryrun/Description.h"
#include "simulated/machine/Wide.h"

using simulated::fromUtf8;
using simulated::toUtf8;

namespace {

const std::vector<std::string> kActions = {"SetLatestQvr",
                                           "MSILoadMsiPropertiesFromConfig",
                                           "MSIValidateInstallDir",
                                           "MSISetImpersonate",
                                           "checkIfReservedLocationOccupied",
                                           "MSIIsLocalSystemSupported",
                                           "DisableVomlitExe",
                                           "checkIfInstallDirReserved",
                                           "MSIRemoveFoldersOnReboot",
                                           "RestoreVomlitExe",
                                           "DisableAUUninstall"};
const std::string kDeferredAction = "SetLatestQvr";

struct Arguments {
    std::string machine;
    std::string action;
    std::vector<std::string> properties;
    std::vector<std::string> add;
    std::vector<std::string> remove;
    std::string fail;
    std::string after;
    bool log = false;
    bool json = false;
};

std::string meaningOf(UINT status) {
    static const std::map<UINT, std::string> kMeanings = {
        {0, "success"},
        {1603, "the action failed, as the log tells; the install ends"},
        {1627, "the action failed, as the log tells"},
        {61015, "the install configuration is bad"},
        {610018, "the install directory exists and is not empty"},
        {610019, "the install directory's path holds a semicolon"},
        {610020, "the install directory is on a network"},
        {610021, "the install directory's path is too short"}};
    const auto known = kMeanings.find(status);
    return known == kMeanings.end() ? "a status of Windows" : known->second;
}

Json readFile(const std::string& path) {
    std::ostringstream text;
    if (!(text << std::ifstream(path, std::ios::binary).rdbuf())) {
        throw BadInput(path + ": expected a file with a description, found none");
    }
    return parseDescription(path, text.str());
}

void arrangeMachine(const Arguments& arguments, DescribedMachine& described) {
    const auto add = [&](const std::string& file) {
        addDescription(described, file, readFile(file));
    };
    add(arguments.machine);
    for (const std::string& code : arguments.remove) {
        if (!removeProduct(described, code)) {
            throw BadInput("--remove: expected the code of an installed product, found " + code);
        }
    }
    std::for_each(arguments.add.begin(), arguments.add.end(), add);
}

MSIHANDLE openSession(const Arguments& arguments, DescribedMachine& described) {
    const bool isDeferred = arguments.action == kDeferredAction;
    std::map<std::u16string, std::u16string> properties;
    for (const std::string& property : arguments.properties) {
        const std::size_t equals = property.find('=');
        if (equals == std::string::npos || equals == 0) {
            throw BadInput("expected PROPERTY=VALUE, found \"" + property + "\"");
        }
        const std::string name = property.substr(0, equals);
        if (isDeferred && name != "CustomActionData") {
            throw BadInput(kDeferredAction + " is deferred: expected CustomActionData=…, found \"" +
                           name + "\"");
        }
        properties[fromUtf8(name)] = fromUtf8(property.substr(equals + 1));
    }
    simulated::Installer& installer = described.machine.installer;
    const MSIHANDLE session = isDeferred
                                  ? installer.openDeferredSession(properties[u"CustomActionData"])
                                  : installer.openSession(std::move(properties));
    installer.session(session).database = described.package;
    return session;
}

/// Plans the failure that is asked for. Gives what tells whether the call came: a note if not.
std::function<std::string()> planFailure(const std::string& text, simulated::Calls& calls) {
    const std::size_t colon = std::min(text.find(':'), text.size());
    const std::string function = text.substr(0, colon);
    const char* const end = text.data() + text.size();
    std::uint64_t n = 1;
    if (colon < text.size() &&
        (std::from_chars(text.data() + colon + 1, end, n).ptr != end || n == 0)) {
        throw BadInput("--fail: expected FUNCTION or FUNCTION:N, found \"" + text + "\"");
    }
    calls.clearJournal();
    if (!function.empty()) {
        calls.failCall(function, n);
    }
    return [&calls, function, n] {
        const std::uint64_t count = calls.count(function);
        return function.empty() || count >= n
                   ? std::string()
                   : function + " was called " + std::to_string(count) + " times: nothing failed";
    };
}

/// The status of an export, in a library that is loaded for this call.
UINT callExport(const std::string& action, simulated::Machine& machine, MSIHANDLE session) {
    const simulated::Running running(machine);
    void* const library = dlopen(NORVCA_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    void* const function = library == nullptr ? nullptr : dlsym(library, action.c_str());
    if (function == nullptr) {
        throw BadInput(std::string("the library can't be loaded: ") + dlerror());
    }
    const UINT status = reinterpret_cast<UINT (*)(MSIHANDLE)>(function)(session);
    dlclose(library);
    return status;
}

std::string logOf(const simulated::Machine& machine) {
    std::string log;
    for (const std::u16string& path : machine.volumes.files()) {
        if (isLogFile(std::u16string_view(path).substr(path.rfind(u'\\') + 1))) {
            log += machine.volumes.content(path).value_or("");
        }
    }
    return log;
}

/// Everything that an action can change.
Json stateOf(DescribedMachine& described, MSIHANDLE session) {
    Json state = writeWhole(described);
    for (const auto& [name, value] : described.machine.installer.session(session).properties) {
        state["properties"][toUtf8(name)] = toUtf8(value);
    }
    return state;
}

std::string dump(const Json& json) {
    return json.dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
}

/// The outcome in the form of `--json`.
Json run(const Arguments& arguments, DescribedMachine& described) {
    simulated::Machine& machine = described.machine;
    const MSIHANDLE session = openSession(arguments, described);
    const Json before = stateOf(described, session);
    const auto failureNote = planFailure(arguments.fail, machine.calls);
    const UINT status = callExport(arguments.action, machine, session);
    const std::string startMenu = toUtf8(*machine.shell.folder(CSIDL_COMMON_PROGRAMS));
    Json outcome = {{"status", status},
                    {"meaning", meaningOf(status)},
                    {"notes", Json::array()},
                    {"boxes", Json::array()},
                    {"broadcasts", Json::array()},
                    {"changes", changesOf(before, stateOf(described, session), startMenu)},
                    {"log", logOf(machine)}};
    if (const std::string note = failureNote(); !note.empty()) {
        outcome["notes"].push_back(note);
    }
    for (const Json& unread : described.fixedParts.value("unread", Json::array())) {
        outcome["notes"].push_back("not described: " + oneLine(unread));
    }
    for (const auto& box : machine.desktop.messageBoxes) {
        outcome["boxes"].push_back({{"title", toUtf8(box.caption)}, {"text", toUtf8(box.text)}});
    }
    for (const auto& broadcast : machine.desktop.broadcasts) {
        outcome["broadcasts"].push_back(toUtf8(broadcast.text));
    }
    return outcome;
}

void printChanges(const Json& changes) {
    for (const char* group :
         {"Registry", "Path", "Files", "Start menu", "At the next restart", "Properties"}) {
        std::string head = std::string("\n") + group + "\n";
        for (const Json& change : changes) {
            if (change["group"] != group) {
                continue;
            }
            const std::string before = oneLine(change["before"]);
            const std::string after = oneLine(change["after"]);
            const std::string sign = change["sign"];
            std::cout << head << "  " << sign << " " << oneLine(change["what"])
                      << (sign == "~"                ? ": " + before + " → " + after
                          : (before + after).empty() ? ""
                                                     : " = " + before + after)
                      << "\n";
            head.clear();
        }
    }
    std::cout << (changes.empty() ? "\nNothing changes.\n" : "");
}

/// The records, of two lines each, where and what: those that warn.
void printWarnings(const std::string& log) {
    std::string head = "\nLog, warnings and errors\n";
    bool isShown = false;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        const bool begins = line.starts_with("\tWARNING: ") || line.starts_with("\tERROR: ");
        isShown = begins || (isShown && !line.starts_with('['));
        if (isShown) {
            std::cout << std::exchange(head, "") << "  " << oneLine(line) << "\n";
        }
    }
}

void print(const Json& outcome, const Arguments& arguments) {
    std::cout << arguments.action << ": " << outcome["status"] << " ("
              << outcome["meaning"].get<std::string>() << ")\n";
    for (const Json& note : outcome["notes"]) {
        std::cout << "Note: " << oneLine(note) << "\n";
    }
    for (const Json& box : outcome["boxes"]) {
        std::cout << "Message box \"" << oneLine(box["title"]) << "\": " << oneLine(box["text"])
                  << "\n";
    }
    for (const Json& broadcast : outcome["broadcasts"]) {
        std::cout << "Broadcast to all windows: " << oneLine(broadcast) << "\n";
    }
    printChanges(outcome["changes"]);
    if (arguments.log) {
        std::cout << "\nLog\n" << outcome["log"].get<std::string>();
    } else {
        printWarnings(outcome["log"]);
    }
}

void printProducts(simulated::Machine& machine) {
    for (const auto& product : machine.installer.products()) {
        std::cout << toUtf8(product->code) << "  " << toUtf8(product->properties[u"ProductName"])
                  << "  " << toUtf8(product->properties[u"InstallLocation"]) << "\n";
    }
}

int dryRun(const Arguments& arguments) {
    const std::string& action = arguments.action;
    if (!action.empty() && std::find(kActions.begin(), kActions.end(), action) == kActions.end()) {
        throw BadInput("expected an action of the library (" + nearestName(action, kActions) +
                       "?), found \"" + action + "\"");
    }
    DescribedMachine described;
    arrangeMachine(arguments, described);
    if (action.empty()) {
        printProducts(described.machine);
        return 0;
    }
    const Json outcome = run(arguments, described);
    if (!arguments.after.empty() &&
        !(std::ofstream(arguments.after) << dump(writeDescription(described)) << std::flush)) {
        throw BadInput("--after: expected a file that can be written, found " + arguments.after);
    }
    if (arguments.json) {
        std::cout << dump(outcome);
    } else {
        print(outcome, arguments);
    }
    return outcome["status"] == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    Arguments arguments;
    CLI::App app("Shows what an action of the library would do to a described Windows machine.");
    app.add_option("MACHINE", arguments.machine, "its description, by describe or by hand")
        ->required();
    app.add_option("ACTION", arguments.action, "an export; without one the products are listed");
    app.add_option("PROPERTY=VALUE", arguments.properties, "properties of the installer's session");
    app.add_option("--add", arguments.add, "FILE: another description to lay over the first")
        ->allow_extra_args(false);
    app.add_option("--remove", arguments.remove, "CODE: a product to remove first")
        ->allow_extra_args(false);
    app.add_option("--fail", arguments.fail,
                   "FUNCTION[:N]: a Windows function whose N-th call fails");
    app.add_option("--after", arguments.after, "FILE: where to write the machine afterwards");
    app.add_flag("--log", arguments.log, "print the whole log");
    app.add_flag("--json", arguments.json, "print one JSON object");
    try {
        app.parse(argc, argv);
        return dryRun(arguments);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    } catch (const std::exception& e) {
        std::cerr << e.what() << "\n";
        return 2;
    }
}
