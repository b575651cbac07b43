#include "dryrun/Run.h"

#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <charconv>
#include <map>
#include <memory>

#include "dryrun/InstallerOrder.h"
#include "dryrun/Library.h"
#include "dryrun/Undescribed.h"
#include "dryrun/Unread.h"
#include "simulated/machine/Wide.h"

using simulated::fromUtf8;
using simulated::toUtf8;

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

namespace {

const std::string kDeferredAction = "SetLatestQvr";

std::string meaningOf(UINT status) {
    static const std::map<UINT, std::string> kMeanings = {
        {0, "success"},
        {1603, "the action failed, see the log; the install ends"},
        {1627, "the action failed, see the log"},
        {61015, "the install configuration is bad"},
        {610018, "the install directory exists and is not empty"},
        {610019, "the install directory's path holds a semicolon"},
        {610020, "the install directory is on a network"},
        {610021, "the install directory's path is too short"}};
    const auto known = kMeanings.find(status);
    return known == kMeanings.end() ? "a status of Windows" : known->second;
}

using Properties = std::map<std::u16string, std::u16string>;

Properties propertiesOf(const Request& request) {
    Properties properties;
    for (const std::string& property : request.properties) {
        const std::size_t equals = property.find('=');
        if (equals == std::string::npos || equals == 0) {
            throw BadInput("expected PROPERTY=VALUE, found \"" + property + "\"");
        }
        const std::string name = property.substr(0, equals);
        if (request.action == kDeferredAction && name != "CustomActionData") {
            throw BadInput(kDeferredAction + " is deferred: expected CustomActionData=…, found \"" +
                           name + "\"");
        }
        properties[fromUtf8(name)] = fromUtf8(property.substr(equals + 1));
    }
    return properties;
}

MSIHANDLE openSession(const Request& request, DescribedMachine& described) {
    Properties properties = propertiesOf(request);
    simulated::Installer& installer = described.machine.installer;
    const MSIHANDLE session = request.action == kDeferredAction
                                  ? installer.openDeferredSession(properties[u"CustomActionData"])
                                  : installer.openSession(std::move(properties));
    installer.session(session).database = described.package;
    return session;
}

/// The N-th call of a function; no function if nothing fails.
struct Failure {
    std::string function = {};
    std::uint64_t call = 1;
};

Failure failureOf(const std::string& text) {
    const std::size_t colon = text.find(':');
    Failure failure = {text.substr(0, colon)};
    bool isGood = text.empty() || !failure.function.empty();
    if (colon != std::string::npos) {
        const char* const end = text.data() + text.size();
        const auto [next, error] = std::from_chars(text.data() + colon + 1, end, failure.call);
        isGood = isGood && error == std::errc() && next == end && failure.call != 0;
    }
    if (!isGood) {
        throw BadInput("--fail: expected FUNCTION or FUNCTION:N, found \"" + text + "\"");
    }
    return failure;
}

void planFailure(const Failure& failure, simulated::Calls& calls) {
    calls.clearJournal();
    if (!failure.function.empty()) {
        calls.failCall(failure.function, failure.call);
    }
}

void noteFailureThatDidNotCome(const Failure& failure, const simulated::Calls& calls, Json& notes) {
    if (failure.function.empty()) {
        return;
    }
    const std::uint64_t count = calls.count(failure.function);
    if (count < failure.call) {
        notes.push_back(failure.function + " was called " + std::to_string(count) +
                        " times: nothing failed");
    }
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

/// What was requested, for reports.
Json askedOf(const Request& request) {
    Json added = Json::array();
    for (const NamedText& description : request.added) {
        added.push_back(description.name);
    }
    return {{"machine", request.machine.name},
            {"removed", request.removedCodes},
            {"added", std::move(added)},
            {"failure", request.failure}};
}

Json boxesOf(const simulated::Machine& machine) {
    Json boxes = Json::array();
    for (const auto& box : machine.desktop.messageBoxes) {
        boxes.push_back({{"title", toUtf8(box.caption)}, {"text", toUtf8(box.text)}});
    }
    return boxes;
}

Json broadcastsOf(const simulated::Machine& machine) {
    Json broadcasts = Json::array();
    for (const auto& broadcast : machine.desktop.broadcasts) {
        broadcasts.push_back(toUtf8(broadcast.text));
    }
    return broadcasts;
}

/// A property of a product; an empty string if it has none of this name.
std::string propertyOf(const simulated::Product& product, const std::u16string& name) {
    const auto found = product.properties.find(name);
    return found == product.properties.end() ? std::string() : toUtf8(found->second);
}

}  // namespace

void checkCall(const Request& request) {
    const std::string& action = request.action;
    if (std::find(kActions.begin(), kActions.end(), action) == kActions.end()) {
        throw BadInput("expected an action of the library (" + nearestName(action, kActions) +
                       "?), found \"" + action + "\"");
    }
    propertiesOf(request);
    failureOf(request.failure);
}

void arrangeMachine(const Request& request, DescribedMachine& described) {
    const auto add = [&](const NamedText& description) {
        addDescription(described, description.name,
                       parseDescription(description.name, description.text));
    };
    add(request.machine);
    for (const std::string& code : request.removedCodes) {
        if (!removeProduct(described, code)) {
            throw BadInput("--remove: expected the code of an installed product, found \"" + code +
                           "\"");
        }
    }
    const std::size_t before = described.machine.installer.products().size();
    std::for_each(request.added.begin(), request.added.end(), add);
    placeAddedProducts(described.machine.installer, before);
}

Json runAction(const Request& request, DescribedMachine& described) {
    simulated::Machine& machine = described.machine;
    const MSIHANDLE session = openSession(request, described);
    const Json before = stateOf(described, session);
    Json notes = Json::array();
    noteUndescribed(request, described, notes);
    const Failure failure = failureOf(request.failure);
    planFailure(failure, machine.calls);
    const UINT status = callExport(request.action, machine, session);
    const std::string startMenu = toUtf8(*machine.shell.folder(CSIDL_COMMON_PROGRAMS));
    noteFailureThatDidNotCome(failure, machine.calls, notes);
    if (request.action == kDeferredAction) {
        noteOrder(machine.installer, notes);
    }
    const Json unread = described.fixedParts.value("unread", Json::array());
    return {{"action", request.action},
            {"properties", request.properties},
            {"asked", askedOf(request)},
            {"status", status},
            {"meaning", meaningOf(status)},
            {"unread", unreadBy(request.action, unread)},
            {"notes", std::move(notes)},
            {"boxes", boxesOf(machine)},
            {"broadcasts", broadcastsOf(machine)},
            {"changes", changesOf(before, stateOf(described, session), startMenu)},
            {"log", logOf(machine)}};
}

Json compareDescriptions(const NamedText& from, const NamedText& to) {
    const auto machineOf = [](const NamedText& description) {
        auto described = std::make_unique<DescribedMachine>();
        addDescription(*described, description.name,
                       parseDescription(description.name, description.text));
        return described;
    };
    const auto before = machineOf(from);
    const auto after = machineOf(to);
    const std::string startMenu = toUtf8(*after->machine.shell.folder(CSIDL_COMMON_PROGRAMS));
    return {{"from", from.name},
            {"to", to.name},
            {"changes", changesOf(writeWhole(*before), writeWhole(*after), startMenu)}};
}

Json productList(DescribedMachine& described) {
    Json products = Json::array();
    for (const auto& product : described.machine.installer.products()) {
        products.push_back({{"code", toUtf8(product->code)},
                            {"name", propertyOf(*product, u"ProductName")},
                            {"location", propertyOf(*product, u"InstallLocation")}});
    }
    return {{"products", std::move(products)}};
}

std::string dump(const Json& json) {
    return json.dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
}
