// A machine with configuration files, for tests of the install configuration.
#pragma once

#include <string>

#include "common/share/tstrings.h"
#include "simulated/machine/Machine.h"

inline const std::string kInstallFile = "C:\\cfg\\install.cfg";
inline const std::string kRuntimeFile =
    "C:\\Program Files (x86)\\Common Files\\Dovrin\\Norv\\norv.settings.cfg";

struct ConfigFiles {
    std::string runtime = {};  ///< the runtime settings file; empty for none
    std::string install = {};  ///< kInstallFile; empty for none
};

/// A running machine with the configuration files.
struct Configured : simulated::Machine {
    explicit Configured(const ConfigFiles& files = {}) {
        add(kRuntimeFile, files.runtime);
        add(kInstallFile, files.install);
    }
    simulated::Running running{*this};

private:
    void add(const std::string& path, const std::string& content) {
        if (!content.empty()) {
            volumes.addFile(tstrings::fromUtf8(path), content);
        }
    }
};
