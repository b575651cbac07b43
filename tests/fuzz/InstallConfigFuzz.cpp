// The install configuration with any command line, runtime file and install file. A load ends in a
// configuration or in its one exception, and its report can be shown.
#include "common/share/tstrings.h"
#include "fuzz/Fuzz.h"
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

/// A key without a value, of a file of bare keys, is all that a read may fail for.
template <class Read>
void fitsOrThrows(Read read) {
    try {
        read();
    } catch (const settings::Exception& e) {
        require(e.code() == settings::kNoFittingValue);
    }
}

}  // namespace

void fuzz(const std::string& input) {
    std::string text = input;
    const std::string commandLine = takePart(text);
    simulated::Machine machine;
    machine.volumes.addFile(
        u"C:\\Program Files (x86)\\Common Files\\Dovrin\\Norv\\norv.settings.cfg", takePart(text));
    machine.volumes.addFile(u"C:\\i.cfg", text);
    const simulated::Running running(machine);
    dropLog();
    InstallConfigData config;
    try {
        config.LoadConfigSettings(tstrings::fromUtf8(commandLine));
    } catch (const InstallConfigData::exception& e) {
        require(e.status() != 0);
        fitsOrThrows([&] { config.handleError(e, "fuzz"); });
    }
    for (int i = 0; i < kFlagParams; ++i) {
        const auto param = static_cast<FlagParam>(i);
        fitsOrThrows(
            [&] { require(!config.isParamEnabled(param) || config.isParamSet(paramName(param))); });
    }
    fitsOrThrows([&] { config.getInstallDirectory(tstring()); });
}
