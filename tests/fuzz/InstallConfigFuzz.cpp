// The install configuration with any command line, runtime file and install file. A load ends in a
// configuration or in its one exception, and its report can be shown.
#include <sstream>

#include "common/share/tstrings.h"
#include "fuzz/Fuzz.h"
#include "windows/common/InstallConfigData.h"

void fuzz(const std::string& input) {
    // A key without a value, of a file of bare keys, is all that a read may fail for.
    const auto fitsOrThrows = [](const auto& read) {
        try {
            read();
        } catch (const settings::Exception& e) {
            require(e.code() == settings::kNoFittingValue,
                    "a read fails only for a key without a value");
        }
    };
    // One after the other, separated by a byte that is not valid in UTF-8.
    std::istringstream parts(input);
    std::string commandLine, runtimeFile, installFile;
    for (std::string* part : {&commandLine, &runtimeFile, &installFile}) {
        std::getline(parts, *part, '\xFE');
    }
    machine().volumes.addFile(
        u"C:\\Program Files (x86)\\Common Files\\Dovrin\\Norv\\norv.settings.cfg", runtimeFile);
    machine().volumes.addFile(u"C:\\i.cfg", installFile);
    machine().desktop.messageBoxes.clear();
    InstallConfigData config;
    try {
        config.LoadConfigSettings(tstrings::fromUtf8(commandLine));
    } catch (const InstallConfigData::exception& e) {
        require(e.status() != 0, "a failed load has a status");
        fitsOrThrows([&] { config.handleError(e, "fuzz"); });
    }
    for (int i = 0; i < kFlagParams; ++i) {
        const auto param = static_cast<FlagParam>(i);
        fitsOrThrows([&] {
            require(!config.isParamEnabled(param) || config.isParamSet(paramName(param)),
                    "a parameter that is enabled is set");
        });
    }
    fitsOrThrows([&] { config.getInstallDirectory(tstring()); });
}
