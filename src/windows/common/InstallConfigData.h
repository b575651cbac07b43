// The install configuration of one action call.
//
// It has four sources, of which a later one wins key by key: built-in defaults, the runtime
// settings file, the install configuration file that INSTALLCFG names, and a command line of
// KEY=value arguments and switches. Every source is checked against one table of keys.
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
    /// A configuration that can't be loaded; thrown as PmtError<InstallConfigData::exception>. Its
    /// status is one of the settings library or kBadArguments.
    class exception : public std::runtime_error {
    public:
        exception(const std::string& message, std::uint32_t status, const std::string& param1,
                  const std::string& param2);

        std::uint32_t status() const noexcept { return status_; }
        const std::string& param1() const noexcept {
            return param1_;
        }  ///< the file or the arguments
        const std::string& param2() const noexcept { return param2_; }  ///< the line, from 1

    private:
        std::uint32_t status_;
        std::string param1_;
        std::string param2_;
    };

    /// Unknown, incomplete or refused arguments.
    static constexpr std::uint32_t kBadArguments = 3090;

    /// Throws settings::Exception, as do all readers below when the settings library fails.
    InstallConfigData();

    /// Loads every source; `commandLine` is parsed by CommandLineToArgvW. Throws
    /// PmtError<exception>; what was loaded before the failure can still be read.
    void LoadConfigSettings(const tstring& commandLine);

    /// Returns whether the configuration has the key, with or without a value.
    bool isParamSet(const char* name) const { return isParamSet(name, workingConfig_); }

    /// Returns whether the configuration has the key and its flag is on.
    bool isParamEnabled(FlagParam param) const;
    /// Returns the key's flag. Throws settings::Exception if the configuration doesn't have the
    /// key.
    bool readFlag(FlagParam param) const;

    /// Returns the key's string in UTF-8, owned by the configuration. Throws settings::Exception if
    /// the configuration doesn't have the key.
    const char* getStringParam(StringParam param) const;

    /// Returns INSTALLDIR, or the fallback if the configuration doesn't have it.
    tstring getInstallDirectory(const tstring& fallback) const;
    /// Returns ProductCode. Throws settings::Exception if the configuration doesn't have it.
    tstring productCode() const;
    /// Returns the argument after `/l`, the file of the installer's own log; empty without `/l`.
    const tstring& logFileArgument() const { return logFileArgument_; }

    bool IsInstallerEnterprise() const;

    /// Checks a value by the flags of its key. Throws PmtError<exception>.
    void CheckParam(const ParamDescriptor& descriptor, const std::string& value) const;

    /// Shows the error to the user in a message box.
    static void showErrorMessage(const exception& error, const Locale& locale);

    /// Handles a failed load for an action: logs it, shows the message box unless the run is
    /// silent, and logs a record under the action's name.
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
    /// Loads the arguments and returns those that are bad, quoted and each followed by ";".
    std::string importArguments(SettingsConfig& config, const std::vector<std::string>& arguments);
    /// Loads one argument of a key; logs a failure and returns false.
    bool importArgument(SettingsConfig& config, const ParamDescriptor& param,
                        const std::string& argument) const;
    /// Adds the arguments that are passed on to the installer, if there are any.
    void importMsiCommand(SettingsConfig& config, const std::string& msiCommand) const;
    void CheckParams(const SettingsConfig& config) const;
    std::string buildCommandLine(const SettingsConfig& config) const;
    std::string printConfig(const SettingsConfig& config, const char* title) const;

    std::vector<ParamDescriptor> params_;
    ValidatorHandle validator_;
    KeyMapperHandle keyMapper_;
    SettingsConfig workingConfig_;  ///< all sources; what readers see
    SettingsConfig exportConfig_;   ///< all sources but the defaults; written to CMDLINE
    SettingsConfig backupConfig_;   ///< the runtime settings file only
    bool defaultsLoaded_ = false;
    bool installerEnterprise_ = false;
    tstring logFileArgument_;
};
