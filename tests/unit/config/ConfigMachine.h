// A machine with configuration files, and the state of a configuration as one text.
#pragma once

#include <map>
#include <string>

#include "simulated/machine/Machine.h"
#include "windows/common/InstallConfigData.h"

inline constexpr const char16_t* kRuntimeFile =
    u"C:\\Program Files (x86)\\Common Files\\Dovrin\\Norv\\norv.settings.cfg";
inline constexpr const char* kRuntimePath =
    "C:\\Program Files (x86)\\Common Files\\Dovrin\\Norv\\norv.settings.cfg";
inline constexpr const char16_t* kInstallFile = u"C:\\cfg\\install.cfg";

/// Puts the files there whose content is not empty.
inline void addConfigFiles(simulated::Machine& machine, const std::string& runtimeFile,
                           const std::string& installFile) {
    if (!runtimeFile.empty()) {
        machine.volumes.addFile(kRuntimeFile, runtimeFile);
    }
    if (!installFile.empty()) {
        machine.volumes.addFile(kInstallFile, installFile);
    }
}

/// "313 [<param1>] [<param2>]" of the exception that the action throws, or "none".
template <class Action>
std::string failureOf(Action action) {
    try {
        action();
        return "none";
    } catch (const InstallConfigData::exception& e) {
        return std::to_string(e.status()) + " [" + e.param1() + "] [" + e.param2() + "]";
    }
}

/// What differs from the defaults of a loaded configuration, in the order of the table:
/// "NOSTARTMENU=1 INSTALLDIR=[C:\x] /s", with "-STATIC" for a default that is missing.
inline std::string stateOf(const InstallConfigData& config) {
    const std::map<std::string, std::string> defaults = {{"STATIC", "0"},
                                                         {"AUTO_UPDATE", "1"},
                                                         {"SPONSORS", "1"},
                                                         {"WEB_ANALYTICS", "1"},
                                                         {"OEMUPDATE", "0"}};
    const auto valueOf = [&](const std::string& name) -> std::string {
        for (int i = 0; i < kFlagParams; ++i) {
            if (name == paramName(static_cast<FlagParam>(i))) {
                return config.readFlag(static_cast<FlagParam>(i)) ? "1" : "0";
            }
        }
        for (int i = 0; i < kStringParams; ++i) {
            if (name == paramName(static_cast<StringParam>(i))) {
                return std::string("[") + config.getStringParam(static_cast<StringParam>(i)) + "]";
            }
        }
        return {};
    };
    std::string state;
    for (const ParamDescriptor& param : makeParamTable()) {
        const auto expected = defaults.find(param.name);
        std::string text;
        if (!config.isParamSet(param.name)) {
            text = expected == defaults.end() ? "" : std::string("-") + param.name;
        } else if (const std::string value = valueOf(param.name);
                   expected == defaults.end() || expected->second != value) {
            text = param.name + (value.empty() ? "" : "=" + value);
        }
        state += (state.empty() || text.empty() ? "" : " ") + text;
    }
    return state;
}
