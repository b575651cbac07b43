#include "windows/common/InstallConfigData.h"

#include <windows.h>
#include <shellapi.h>

#include <memory>

#include "common/share/LogException.h"
#include "common/share/Logger.h"
#include "common/share/PmtError.h"
#include "common/share/tstrings.h"
#include "common/windows/WinAutoHandle.h"
#include "common/windows/WinErrorHandling.h"
#include "windows/common/Messages.h"

namespace {

/// The library never fails with this status; other programs that share the messages do.
constexpr std::uint32_t kNoPermission = 305;
constexpr std::int32_t kCaseInsensitive = 0;
constexpr std::int32_t kAbsoluteOnly = 0;

constexpr FixedValue kOnOff[] = {{"Enable", 1, settings::kExactCase},
                                 {"Disable", 0, settings::kExactCase},
                                 {"1", 1, settings::kExactCase},
                                 {"0", 0, settings::kExactCase}};

constexpr FixedValue kLevels[] = {{"1", 1, settings::kExactCase}, {"2", 2, settings::kExactCase},
                                  {"3", 3, settings::kExactCase}, {"4", 4, settings::kExactCase},
                                  {"L", 1, settings::kExactCase}, {"M", 2, settings::kExactCase},
                                  {"H", 3, settings::kExactCase}, {"VH", 4, settings::kExactCase}};

constexpr const char* kLevelKey = "WEB_NORV_SECURITY_LEVEL";
constexpr const char* kIntKeys[] = {kLevelKey, "/lang", "TEST_CONFIG_FILE_ERRORS"};

constexpr const char* kSilentSwitch = "/s";
constexpr const char* kDownloadSwitch = "-download";
constexpr const char* kLogSwitch = "/l";

constexpr const char* kDefaults =
    "INSTALL_SILENT=Disable\n"
    "STATIC=Disable\n"
    "AUTO_UPDATE=Enable\n"
    "WEB_ANALYTICS=Enable\n"
    "SPONSORS=Enable\n"
    "OEMUPDATE=Disable\n";

constexpr const char* kLoadConfigSettings = "InstallConfigData::LoadConfigSettings";
constexpr const char* kImportArguments = "InstallConfigData::ImportArgsConfigSettings";

/// Throws the exception of a configuration that can't be loaded.
[[noreturn]] void raiseUnloadable(const SourceLocation& where, const std::string& message,
                                  std::uint32_t status, const std::string& param1,
                                  const std::string& param2) {
    raise<InstallConfigData::exception>(where, message, status, param1, param2);
}

struct LocalDeleter {
    void operator()(void* memory) const { LocalFree(memory); }
};

/// Returns the arguments of a command line, in UTF-8.
std::vector<std::string> splitCommandLine(const tstring& commandLine) {
    std::vector<std::string> arguments;
    if (commandLine.empty()) {
        return arguments;
    }
    int count = 0;
    const std::unique_ptr<LPWSTR, LocalDeleter> list(
        CommandLineToArgvW(commandLine.c_str(), &count));
    if (!list) {
        const DWORD status = GetLastError();
        const SysError reason(_T("CommandLineToArgvW failed"), CommandLineToArgvW, status);
        raiseUnloadable(kLoadConfigSettings, reason.what(), settings::kFailure, "", "");
    }
    for (int i = 0; i < count; ++i) {
        arguments.push_back(tstrings::toUtf8(list.get()[i]));
    }
    return arguments;
}

std::string printParam(const SettingsConfig& config, const char* name) {
    const std::string head = std::string(name) + " = ";
    if (const char* const text = config.text(name)) {
        return head + text + "\n";
    }
    const std::optional<bool> flag = config.flag(name);
    return flag ? head + (*flag ? "1" : "0") + "\n" : std::string();
}

/// Returns the getter of the message for a status.
TextGetter chooseMessage(std::uint32_t status) {
    switch (status) {
        case settings::kPathTooLong:
            return msgPathTooLong;
        case settings::kPathRefused:
            return msgPathInvalid;
        case settings::kPathNotUtf8:
            return msgPathNotPlainText;
        case settings::kBadLines:
            return msgMalformedLine;
        case settings::kTextNotUtf8:
            return msgNotPlainText;
        case settings::kFileTooLong:
            return msgFileTooLong;
        case settings::kCannotOpen:
            return msgCannotOpen;
        case kNoPermission:
            return msgNoPermission;
        case settings::kShortWrite:
            return msgWriteFailed;
        case settings::kReadError:
            return msgReadError;
        case InstallConfigData::kBadArguments:
            return msgBadSwitches;
        default:
            return msgInternalError;
    }
}

std::string composeWhat(const std::string& message, std::uint32_t status, const std::string& param1,
                        const std::string& param2) {
    std::string text = message.empty() ? message : message + ": ";
    text += "error " + std::to_string(status);
    if (!param1.empty()) {
        text += ", param1=\"" + param1 + "\"";
    }
    if (!param2.empty()) {
        text += ", param2=\"" + param2 + "\"";
    }
    return text;
}

/// Adds the rule of each key, and a mapping from any case to the listed spelling.
void addKeys(const settings_api& api, settings_validator_builder* rules,
             settings_key_mapper_builder* mappings) {
    const auto addMapping = [&](const char* key) {
        throwIfFailed(api.addKeyMapping(mappings, key, key, kCaseInsensitive));
    };
    for (int i = 0; i < kFlagParams; ++i) {
        const char* key = paramName(static_cast<FlagParam>(i));
        throwIfFailed(api.addFixedValues(rules, key, kOnOff, std::size(kOnOff)));
        addMapping(key);
    }
    for (const char* key : kIntKeys) {
        throwIfFailed(api.addIntKey(rules, key));
        addMapping(key);
    }
    throwIfFailed(api.addFixedValues(rules, kLevelKey, kLevels, std::size(kLevels)));
    for (int i = 0; i < kStringParams; ++i) {
        const char* key = paramName(static_cast<StringParam>(i));
        throwIfFailed(api.addStringKey(rules, key));
        addMapping(key);
    }
    for (const StringParam param :
         {StringParam::InstallDir, StringParam::InstallCfg, StringParam::InstallDirPubQvr}) {
        throwIfFailed(api.addDirnameKey(rules, paramName(param), kAbsoluteOnly));
    }
}

}  // namespace

InstallConfigData::exception::exception(const std::string& message, std::uint32_t status,
                                        const std::string& param1, const std::string& param2)
    : std::runtime_error(composeWhat(message, status, param1, param2)),
      status_(status),
      param1_(param1),
      param2_(param2) {}

InstallConfigData::InstallConfigData() {
    constexpr const char* kFunction = "InstallConfigData::InstallConfigData";
    TRACE_SCOPE(kFunction, kFunction);
    params_ = makeParamTable();
    InitConfig();
}

void InstallConfigData::InitConfig() {
    SettingsHandle<settings_validator_builder, &settings_api::destroyValidatorBuilder> rules;
    SettingsHandle<settings_key_mapper_builder, &settings_api::destroyKeyMapperBuilder> mappings;
    const settings_api& api = rules.api();
    rules.reset(api.createValidatorBuilder());
    mappings.reset(api.createKeyMapperBuilder());
    addKeys(api, rules.get(), mappings.get());
    throwIfFailed(api.allowUnknownKeys(rules.get(), false));

    settings_validator* validator = nullptr;
    throwIfFailed(api.buildValidator(rules.get(), &validator));
    validator_.reset(validator);
    settings_key_mapper* keyMapper = nullptr;
    throwIfFailed(api.buildKeyMapper(mappings.get(), &keyMapper));
    keyMapper_.reset(keyMapper);
    for (SettingsConfig* config : {&workingConfig_, &exportConfig_, &backupConfig_}) {
        config->setRules(validator_, keyMapper_);
    }

    if (!defaultsLoaded_) {
        throwIfFailed(workingConfig_.loadText(kDefaults));
        defaultsLoaded_ = true;
        LOG_INFO("InstallConfigData::InitConfig",
                 Text() << _T("Default config settings are: \n") << kDefaults);
    }
}

void InstallConfigData::LoadConfigSettings(const tstring& commandLine) {
    constexpr const char* kFunction = kLoadConfigSettings;
    const std::vector<std::string> arguments = splitCommandLine(commandLine);

    LOG_TRACE(kFunction, Text() << _T("-->Loading Important args..."));
    ImportArgsConfigSettings(workingConfig_, arguments);
    LOG_TRACE(kFunction, Text() << printConfig(workingConfig_, "Important args config (TMP)"));

    std::string path;
    if (isParamSet(paramName(StringParam::InstallCfg), workingConfig_)) {
        path = getStringParam(StringParam::InstallCfg);
        LOG_INFO(kFunction, Text()
                                << _T("Path to the install configuration file is set to ") << path);
    }

    LOG_TRACE(kFunction, Text() << _T("-->Loading Config..."));
    loadConfig(workingConfig_, path, arguments);

    LOG_TRACE(kFunction, Text() << _T("-->Saving backup..."));
    ImportRuntimeConfigSettings(backupConfig_);
    LOG_INFO(kFunction, Text() << printConfig(backupConfig_, "Config to backup"));

    LOG_TRACE(kFunction, Text() << _T("-->Loading export config..."));
    loadConfig(exportConfig_, path, arguments);

    LOG_TRACE(kFunction, Text() << _T("-->Adding CMDLINE to config..."));
    const std::string exported = buildCommandLine(exportConfig_);
    if (!exported.empty()) {
        const std::string line = std::string(paramName(StringParam::CmdLine)) + "=" + exported;
        workingConfig_.loadText(line.c_str());
    }
    LOG_INFO(kFunction, Text() << printConfig(workingConfig_, "!!!!Working config!!!!"));
}

void InstallConfigData::loadConfig(SettingsConfig& config, const std::string& path,
                                   const std::vector<std::string>& arguments) {
    ImportRuntimeConfigSettings(config);
    if (!path.empty()) {
        ImportInstallConfigSettings(config, path);
    }
    ImportArgsConfigSettings(config, arguments);
    CheckParams(config);
}

void InstallConfigData::ImportRuntimeConfigSettings(SettingsConfig& config) {
    constexpr const char* kFunction = "InstallConfigData::ImportRuntimeConfigSettings";
    LOG_TRACE(kFunction, Text() << _T("...Importing runtime configuration file..."));
    const char* path = nullptr;
    throwIfFailed(config.api().getPath(config.context(), &path));
    LOG_INFO(kFunction, Text() << _T("Runtime config file path is ") << path);
    const settings::Status status = config.loadFile(path);
    if (status == settings::kCannotOpen) {
        LOG_INFO(kFunction, Text() << _T("Runtime configuration file doesn't exist. It will be ")
                                      _T("created later by settings_api."));
    } else {
        verifyResultCode(status, "Runtime configuration file import failed", config, path);
    }
    // The runtime settings file can't make a run silent.
    config.api().removeKey(config.context(), paramName(FlagParam::InstallSilent));
}

void InstallConfigData::ImportInstallConfigSettings(SettingsConfig& config,
                                                    const std::string& path) {
    LOG_TRACE("InstallConfigData::ImportInstallConfigSettings",
              Text() << _T("...Importing Install Configuration file"));
    verifyResultCode(config.loadFile(path.c_str()), "Install Configuration file import failed",
                     config, path);
}

bool InstallConfigData::importArgument(SettingsConfig& config, const ParamDescriptor& param,
                                       const std::string& argument) const {
    const settings::Status status =
        config.loadText(param.prefixMatch ? param.name : argument.c_str());
    const bool isAccepted = status == settings::kSuccess && isParamSet(param.name, config);
    if (!isAccepted) {
        LOG_ERROR(kImportArguments,
                  Text() << _T("Loading arg ") << argument << _T(" failed with ") << status);
    }
    return isAccepted;
}

void InstallConfigData::importMsiCommand(SettingsConfig& config,
                                         const std::string& msiCommand) const {
    if (!msiCommand.empty()) {
        LOG_INFO(kImportArguments, Text() << _T("...adding MSICMDLINE to settingsConfig"));
        const std::string line = std::string(paramName(StringParam::MsiCmdLine)) + "=" + msiCommand;
        config.loadText(line.c_str());
    }
}

std::string InstallConfigData::importArguments(SettingsConfig& config,
                                               const std::vector<std::string>& arguments) {
    constexpr const char* kFunction = kImportArguments;
    std::string msiCommand;
    std::string badArguments;
    const auto refuse = [&](const std::string& argument) {
        badArguments += "\"" + argument + "\";";
    };
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        const ParamDescriptor* const param = findParam(params_, argument);
        // The first one may be the name of the program.
        if (argument.empty() || (!param && i == 0)) {
            continue;
        }
        if (!param) {
            LOG_ERROR(kFunction, Text() << _T("arg ") << argument << _T(" is not supported"));
            refuse(argument);
        } else if (param->name != std::string(kLogSwitch)) {
            if (param->passedToInstaller) {
                msiCommand += " " + argument;
            }
            if (!importArgument(config, *param, argument)) {
                refuse(argument);
            }
        } else if (i + 1 < arguments.size()) {
            logFileArgument_ = tstrings::fromUtf8(arguments[++i]);
        } else {
            LOG_ERROR(kFunction, Text() << _T("arg ") << argument << _T(" is incorrect"));
            refuse(argument);
        }
    }
    importMsiCommand(config, msiCommand);
    return badArguments;
}

void InstallConfigData::ImportArgsConfigSettings(SettingsConfig& config,
                                                 const std::vector<std::string>& arguments) {
    constexpr const char* kFunction = kImportArguments;
    TRACE_SCOPE(kFunction, kFunction);
    LOG_TRACE(kFunction, Text() << _T("...Importing command line arguments"));
    config.setAllowKeyWithoutValue(true);
    const std::string badArguments = importArguments(config, arguments);
    if (!badArguments.empty()) {
        raiseUnloadable(kFunction, "Malformed params", kBadArguments, badArguments, "");
    }
}

std::string InstallConfigData::buildCommandLine(const SettingsConfig& config) const {
    std::string commandLine;
    for (const ParamDescriptor& param : params_) {
        const char* const value = param.exported ? config.text(param.name) : nullptr;
        if (value != nullptr) {
            commandLine += std::string(" ") + param.name + "=\"" + value + "\"";
        }
    }
    return commandLine;
}

void InstallConfigData::CheckParams(const SettingsConfig& config) const {
    constexpr const char* kFunction = "InstallConfigData::CheckParams";
    TRACE_SCOPE(kFunction, kFunction);
    for (const ParamDescriptor& param : params_) {
        if (const char* const value = config.text(param.name)) {
            CheckParam(param, value);
        }
    }
}

void InstallConfigData::CheckParam(const ParamDescriptor& descriptor,
                                   const std::string& value) const {
    constexpr const char* kFunction = "InstallConfigData::CheckParam";
    if (descriptor.enterpriseOnly && !IsInstallerEnterprise()) {
        raiseUnloadable(kFunction, "The param is not supported", kBadArguments, descriptor.name,
                        "");
    }
    if (!descriptor.checkFile) {
        return;
    }
    LOG_TRACE(kFunction, Text() << _T("Checking if file is accessible for read..."));
    const WinHandle file(CreateFileW(tstrings::fromUtf8(value).c_str(), GENERIC_READ,
                                     FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                     nullptr));
    if (!file) {
        raiseUnloadable(kFunction, "File is not accessible", settings::kReadError, "",
                        descriptor.name);
    }
    if (descriptor.checkPlainText) {
        LOG_TRACE(kFunction, Text() << _T("Checking if file is a plain text..."));
    }
}

void InstallConfigData::verifyResultCode(settings::Status status, const char* message,
                                         const SettingsConfig& config, const std::string& path) {
    if (status == settings::kSuccess) {
        return;
    }
    std::string line;
    if (status == settings::kBadLines) {
        line = "<line number>";
        const std::int32_t* lines = nullptr;
        std::uint32_t count = 0;
        if (config.api().getErrors(config.context(), &lines, &count) == settings::kSuccess &&
            count != 0) {
            line = std::to_string(std::int64_t{lines[0]} + 1);
        }
    }
    raiseUnloadable("InstallConfigData::verifyResultCode", message, status, path, line);
}

std::string InstallConfigData::printConfig(const SettingsConfig& config, const char* title) const {
    std::string text = std::string("|------") + title + "--------|\n\n";
    for (const ParamDescriptor& param : params_) {
        text += printParam(config, param.name);
    }
    return text + "|-------------------------------------|\n";
}

bool InstallConfigData::isParamSet(const char* name, const SettingsConfig& config) {
    return config.text(name) != nullptr || config.flag(name).has_value();
}

bool InstallConfigData::isParamEnabled(FlagParam param) const {
    return isParamSet(paramName(param), workingConfig_) && readFlag(param);
}

bool InstallConfigData::readFlag(FlagParam param) const {
    std::int32_t number = 0;
    throwIfFailed(workingConfig_.api().getInt(workingConfig_.context(), paramName(param), &number));
    return number != 0;
}

const char* InstallConfigData::getStringParam(StringParam param) const {
    const char* text = nullptr;
    throwIfFailed(
        workingConfig_.api().getString(workingConfig_.context(), paramName(param), &text));
    return text;
}

tstring InstallConfigData::getInstallDirectory(const tstring& fallback) const {
    return isParamSet(paramName(StringParam::InstallDir), workingConfig_)
               ? tstrings::fromUtf8(getStringParam(StringParam::InstallDir))
               : fallback;
}

tstring InstallConfigData::productCode() const {
    return tstrings::fromUtf8(getStringParam(StringParam::ProductCode));
}

bool InstallConfigData::IsInstallerEnterprise() const {
    LOG_INFO("InstallConfigData::IsInstallerEnterprise",
             Text() << _T("IsInstallerEnterprise is ") << installerEnterprise_);
    return installerEnterprise_;
}

void InstallConfigData::showErrorMessage(const exception& error, const Locale& locale) {
    const tstring message = tstrings::unsafe_format(
        getText(chooseMessage(error.status()), locale).c_str(),
        tstrings::fromUtf8(error.param1()).c_str(), tstrings::fromUtf8(error.param2()).c_str());
    LOG_INFO("InstallConfigData::showErrorMessage", message);
    MessageBoxW(nullptr, message.c_str(), getText(msgTitle, locale).c_str(),
                MB_OK | MB_ICONERROR | MB_TASKMODAL | MB_SETFOREGROUND | MB_TOPMOST);
}

void InstallConfigData::handleError(const exception& error, const char* action) const {
    logException("InstallConfigData::handleError", error);
    if (!isParamSet(kSilentSwitch, workingConfig_) &&
        !isParamSet(kDownloadSwitch, workingConfig_) && !isParamEnabled(FlagParam::InstallSilent)) {
        showErrorMessage(error, Locale());
    }
    LOG_ERROR(action, Text() << _T("Error occurred while loading configuration settings ")
                                _T("from CA. Exiting installer."));
}
