// The keys of the install configuration, and how a command-line argument finds its key.
#pragma once

#include <string>
#include <vector>

/// One key of the install configuration.
struct ParamDescriptor {
    const char* name;
    bool exported;           ///< stands in CMDLINE
    bool passedToInstaller;  ///< its argument stands in MSI_CMDLINE
    bool prefixMatch;        ///< an argument matches with anything behind the name
    bool checkFile;          ///< its value must name a readable file
    bool checkPlainText;     ///< and that file must be plain text
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

/// The keys with a text, in the order in which their rules are made.
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

/// The keys of the table as the configuration knows them.
const char* paramName(FlagParam param);
const char* paramName(StringParam param);
constexpr int kFlagParams = static_cast<int>(FlagParam::RetainDqxFiles) + 1;
constexpr int kStringParams = static_cast<int>(StringParam::BaseImageChecksumSha256) + 1;

/// The whole parameter table.
std::vector<ParamDescriptor> makeParamTable();

/// Whether an argument ("KEY=value", "KEY:value", "/s") is one of this key.
bool matchesArgument(const ParamDescriptor& descriptor, const std::string& argument);

/// The first key of the table that the argument matches, or null.
const ParamDescriptor* findParam(const std::vector<ParamDescriptor>& params,
                                 const std::string& argument);
