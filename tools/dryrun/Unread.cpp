#include "dryrun/Unread.h"

#include <algorithm>
#include <vector>

#include "dryrun/Description.h"

namespace {

/// What depends on something whose name contains a piece of text, and the actions that read it; no
/// action means all of them.
struct Dependency {
    std::string piece;  ///< in upper case
    std::string affects;
    std::vector<std::string> actions;
};

const std::vector<Dependency> kDependencies = {
    {.piece = "CONTROL\\SESSION MANAGER\\ENVIRONMENT",
     .affects = "Path and the command shims depend on it.",
     .actions = {"SetLatestQvr"}},
    {.piece = "PENDINGFILERENAMEOPERATIONS",
     .affects = "What happens at the next restart depends on it.",
     .actions = {"SetLatestQvr", "MSIRemoveFoldersOnReboot"}},
    {.piece = "\\CLASSES\\",
     .affects = "The file associations and host entries depend on it.",
     .actions = {"SetLatestQvr"}},
    {.piece = "ACCESSIBILITY",
     .affects = "The assistive-technology entry depends on it.",
     .actions = {"SetLatestQvr"}},
    {.piece = "WINDOWSASSISTLINK",
     .affects = "The bridge libraries depend on it.",
     .actions = {"SetLatestQvr"}},
    {.piece = "NORVPATH",
     .affects = "The command shims depend on it.",
     .actions = {"SetLatestQvr"}},
    {.piece = "NORVTMP", .affects = "The command shims depend on it.", .actions = {"SetLatestQvr"}},
    {.piece = "START MENU",
     .affects = "The Start menu depends on it.",
     .actions = {"SetLatestQvr"}},
    {.piece = "NORV.SETTINGS.CFG",
     .affects = "The install configuration depends on it.",
     .actions = {"SetLatestQvr", "MSILoadMsiPropertiesFromConfig"}},
    {.piece = "AUTO UPDATE",
     .affects = "The state of the auto-updater depends on it.",
     .actions = {"DisableVomlitExe", "RestoreVomlitExe", "DisableAUUninstall"}},
    {.piece = "NORV UPDATE",
     .affects = "The state of the auto-updater depends on it.",
     .actions = {"DisableVomlitExe", "RestoreVomlitExe", "DisableAUUninstall"}},
    {.piece = "{",
     .affects = "The product may be left out, and with it all that it would change.",
     .actions = {"SetLatestQvr", "DisableVomlitExe", "RestoreVomlitExe", "DisableAUUninstall"}},
    {.piece = "SOFTWARE\\HALVOREX",
     .affects = "The family keys, CurrentVersion and the products' homes depend on it.",
     .actions = {"SetLatestQvr"}},
};

}  // namespace

Json unreadBy(const std::string& action, const Json& unread) {
    Json read = Json::array();
    for (const Json& entry : unread) {
        const std::string what = entry.value("what", "");
        const std::string name = foldedName(what);
        const auto rule = std::find_if(
            kDependencies.begin(), kDependencies.end(),
            [&](const Dependency& one) { return name.find(one.piece) != std::string::npos; });
        const bool isKnown = rule != kDependencies.end();
        if (!isKnown || std::count(rule->actions.begin(), rule->actions.end(), action) != 0) {
            read.push_back(
                {{"what", what},
                 {"status", entry.value("status", 0u)},
                 {"affects", isKnown ? rule->affects : "The outcome may depend on it."}});
        }
    }
    return read;
}
