#include "dryrun/Undescribed.h"

#include <optional>
#include <regex>

#include "simulated/machine/Wide.h"

using simulated::toUtf8;

namespace {

/// Whether the description mentions the path or something below it.
bool isDescribed(const std::string& path, const DescribedMachine& described) {
    std::string name = foldedName(path);
    while (name.ends_with('\\')) {
        name.pop_back();
    }
    const auto next = described.named.lower_bound(name);
    return next != described.named.end() && next->starts_with(name) &&
           (next->size() == name.size() || (*next)[name.size()] == '\\');
}

std::optional<std::string> propertyOf(const Request& request, const std::string& name) {
    for (const std::string& property : request.properties) {
        if (property.starts_with(name + "=")) {
            return property.substr(name.size() + 1);
        }
    }
    return std::nullopt;
}

void noteDirectory(const Request& request, const DescribedMachine& described, Json& notes) {
    const std::optional<std::string> directory = propertyOf(request, "INSTALLDIR");
    if (!directory || directory->empty()) {
        return;
    }
    if (directory->size() == 2 && directory->ends_with(':')) {
        notes.push_back("INSTALLDIR: " + *directory +
                        " is the drive's current directory, which a description doesn't have.");
        return;
    }
    if (isDescribed(*directory, described)) {
        return;
    }
    const bool exists = described.machine.volumes.exists(simulated::fromUtf8(*directory));
    notes.push_back("INSTALLDIR: " + *directory +
                    (exists ? " is described by nothing but what every Windows has."
                            : " isn't described, so it is taken as missing."));
}

void noteConfigurationFile(const Request& request, const DescribedMachine& described, Json& notes) {
    static const std::regex argument("INSTALLCFG[=:]([^\"]*\\.[^\" ]*|[^\" ]*)", std::regex::icase);
    for (const std::string& property : request.properties) {
        std::smatch match;
        if (std::regex_search(property, match, argument) && !isDescribed(match[1], described)) {
            notes.push_back("INSTALLCFG: " + match[1].str() +
                            " isn't described, so it is taken as missing.");
        }
    }
}

void noteHomes(const DescribedMachine& described, Json& notes) {
    for (const simulated::Product* product : described.machine.installer.products()) {
        const auto location = product->properties.find(u"InstallLocation");
        if (location == product->properties.end() || location->second.empty()) {
            continue;
        }
        const std::string home = toUtf8(location->second);
        if (!isDescribed(home, described)) {
            notes.push_back("Nothing is described in " + home + ", the home of " +
                            toUtf8(product->code) + ": its tools are taken as missing.");
        }
    }
}

}  // namespace

void noteUndescribed(const Request& request, const DescribedMachine& described, Json& notes) {
    if (request.action == "MSIValidateInstallDir" || request.action == "MSIRemoveFoldersOnReboot") {
        noteDirectory(request, described, notes);
    }
    if (request.action == "SetLatestQvr") {
        noteHomes(described, notes);
    }
    if (request.action == "SetLatestQvr" || request.action == "MSILoadMsiPropertiesFromConfig") {
        noteConfigurationFile(request, described, notes);
    }
}
