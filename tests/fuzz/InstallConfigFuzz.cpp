// The install configuration with any command line, runtime file and install file. Whatever they
// hold, a load ends in a configuration or in its one exception, and its report can be shown.
#include <cstdint>
#include <string>

#include "common/share/tstrings.h"
#include "fuzz/NoLog.h"
#include "fuzz/Require.h"
#include "simulated/machine/Machine.h"
#include "windows/common/InstallConfigData.h"

namespace {

/// The text up to a byte that no UTF-8 holds, which is taken away with it.
std::string takePart(std::string& text) {
    const std::size_t end = text.find('\xFE');
    const std::string part = text.substr(0, end);
    text.erase(0, end == std::string::npos ? end : end + 1);
    return part;
}

void readAll(const InstallConfigData& config) {
    for (int i = 0; i < kFlagParams; ++i) {
        const auto param = static_cast<FlagParam>(i);
        try {
            require(!config.isParamEnabled(param) || config.isParamSet(paramName(param)));
        } catch (const settings::Exception& e) {
            // A file of bare keys.
            require(e.code() == settings::kNoFittingValue);
        }
    }
    try {
        config.getInstallDirectory(tstring());
    } catch (const settings::Exception& e) {
        require(e.code() == settings::kNoFittingValue);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    const std::string commandLine = takePart(text);
    const std::string runtimeFile = takePart(text);
    simulated::Machine machine;
    machine.volumes.addFile(
        u"C:\\Program Files (x86)\\Common Files\\Dovrin\\Norv\\norv.settings.cfg", runtimeFile);
    machine.volumes.addFile(u"C:\\i.cfg", text);
    const simulated::Running running(machine);
    NoLog::install();
    InstallConfigData config;
    try {
        config.LoadConfigSettings(tstrings::fromUtf8(commandLine));
    } catch (const InstallConfigData::exception& e) {
        require(e.status() != 0);
        try {
            config.handleError(e, _T("fuzz"));
        } catch (const settings::Exception&) {
            // INSTALL_SILENT without a value.
        }
    }
    readAll(config);
    return 0;
}
