// The install configuration of one action call.
//
// It comes from four sources, of which a later one wins key by key: built-in defaults, the runtime
// settings file, the install configuration file that INSTALLCFG names, and a command line of
// KEY=value arguments and switches. Every source is held to one table of keys.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/share/tstring.h"
#include "windows/common/InstallConfigParams.h"
#include "windows/common/Locales.h"
#include "windows/common/SettingsConfig.h"

class InstallConfigData {
public:
    /// A configuration that can't be loaded, thrown as PmtError<InstallConfigData::exception>.
    /// Statuses are those of the settings library, and kBadArguments.
    class exception : public std::runtime_error {
    public:
        exception(const std::string& message, std::uint32_t status, const std::string& param1,
                  const std::string& param2);

        std::uint32_t status() const noexcept { return status_; }
        const std::string& param1() const noexcept { return param1_; }  ///< file or arguments
        const std::string& param2() const noexcept { return param2_; }  ///< line, from 1

    private:
        std::uint32_t status_;
        std::string param1_;
        std::string param2_;
    };

    /// Arguments that are unknown, incomplete or refused.
    static constexpr std::uint32_t kBadArguments = 3090;

    /// Throws settings::Exception, and so does every reader below when the library fails.
    InstallConfigData();

    /// Loads every source; `commandLine` is in the form that CommandLineToArgvW takes. Throws
    /// PmtError<exception>; what was loaded until then can be read.
    void LoadConfigSettings(const tstring& commandLine);

    /// Whether the key is in the configuration, with a value or without.
    bool isParamSet(const char* name) const { return isParamSet(name, workingConfig_); }

    /// Whether the key is there and on.
    bool isParamEnabled(FlagParam param) const;
    /// The key's flag. Throws settings::Exception if the key isn't there.
    bool readFlag(FlagParam param) const;

    /// The key's text in UTF-8, owned by the configuration. Throws settings::Exception if the key
    /// isn't there.
    const char* getStringParam(StringParam param) const;

    /// INSTALLDIR, or the fallback when the configuration has no such key.
    tstring getInstallDirectory(const tstring& fallback) const;
    /// ProductCode. Throws settings::Exception if the key isn't there.
    tstring productCode() const;
    /// The argument behind `/l`, the file of the installer's own log; empty without one.
    const tstring& logFileArgument() const { return logFileArgument_; }

    bool IsInstallerEnterprise() const;

    /// Holds a value to the flags of its key. Throws PmtError<exception>.
    void CheckParam(const ParamDescriptor& descriptor, const std::string& value) const;

    /// Shows the error to the user in a message box.
    static void showErrorMessage(const exception& error, const Locale& locale);

    /// What an action does with a failed load: a log record, the message box unless the run is
    /// silent, and a record under the action's name.
    void handleError(const exception& error, const char* action) const;

private:
    static bool isParamSet(const char* name, const SettingsConfig& config);
    static void verifyResultCode(settings::Status status, const char* message,
                                 const SettingsConfig& config, const std::string& path);

    void InitConfig();
    void loadConfig(SettingsConfig& config, const std::string& path,
                    const std::vector<std::string>& arguments);
    void ImportRuntimeConfigSettings(SettingsConfig& config);
    void ImportInstallConfigSettings(SettingsConfig& config, const std::string& path);
    void ImportArgsConfigSettings(SettingsConfig& config,
                                  const std::vector<std::string>& arguments);
    void CheckParams(const SettingsConfig& config) const;
    std::string buildCommandLine(const SettingsConfig& config) const;
    std::string printConfig(const SettingsConfig& config, const char* title) const;

    std::vector<ParamDescriptor> params_;
    ValidatorHandle validator_;
    KeyMapperHandle keyMapper_;
    SettingsConfig workingConfig_;  ///< what readers see: all sources
    SettingsConfig exportConfig_;   ///< all sources but the defaults; feeds CMDLINE
    SettingsConfig backupConfig_;   ///< the runtime file alone
    bool defaultsLoaded_ = false;
    bool installerEnterprise_ = false;
    tstring logFileArgument_;
};
