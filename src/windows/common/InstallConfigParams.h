// The keys of the install configuration, and how a command-line argument matches a key.
#pragma once

#include <string>
#include <vector>

/// One key of the install configuration.
struct ParamDescriptor {
    const char* name;
    bool exported;           ///< written to CMDLINE
    bool passedToInstaller;  ///< its argument is written to MSI_CMDLINE
    bool prefixMatch;        ///< an argument matches whatever follows the name
    bool checkFile;          ///< its value has to name a readable file
    bool checkPlainText;     ///< which has to be plain text
    bool enterpriseOnly;
};

/// The keys with an on/off value, in the order of the parameter table.
enum class FlagParam {
    InstallSilent,
    Static,
    AutoUpdate,
    Sponsors,
    WebNorv,
    WebAnalytics,
    OemUpdate,
    DynamicBaselineOff,
    NoVerify,
    RepairMode,
    LaunchedFromQvk,
    RemoveOutOfDateQvrs,
    RemoveOlderQvrs,
    NoStartMenu,
    RetainDqxFiles,
};

/// The keys with a string, in the order in which their rules are created.
enum class StringParam {
    InstallDir,
    InstallCfg,
    InstallDirPubQvr,
    CountryOverride,
    InstallUrl,
    InstallMethod,
    SponsorPref,
    AddLocal,
    Reboot,
    MsiCmdLine,
    CmdLine,
    ProductCode,
    BaseImageChecksumSha256,
};

/// The names of the keys in the configuration.
const char* paramName(FlagParam param);
const char* paramName(StringParam param);
constexpr int kFlagParams = static_cast<int>(FlagParam::RetainDqxFiles) + 1;
constexpr int kStringParams = static_cast<int>(StringParam::BaseImageChecksumSha256) + 1;

/// Returns the whole parameter table.
std::vector<ParamDescriptor> makeParamTable();

/// Returns whether an argument ("KEY=value", "KEY:value", "/s") belongs to this key.
bool matchesArgument(const ParamDescriptor& descriptor, const std::string& argument);

/// Returns the first key of the table that the argument matches, or null.
const ParamDescriptor* findParam(const std::vector<ParamDescriptor>& params,
                                 const std::string& argument);
