#include "windows/common/InstallConfigParams.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

namespace {

// The values of the table's columns.
constexpr bool kExported = true;
constexpr bool kPassed = true;
constexpr bool kPrefix = true;
constexpr bool kNo = false;

constexpr ParamDescriptor row(const char* name, bool exported, bool passedToInstaller,
                              bool prefixMatch = false) {
    return {name, exported, passedToInstaller, prefixMatch, false, false, false};
}

// clang-format off
constexpr ParamDescriptor kParams[] = {
    // The keys of FlagParam, in its order.
    row("INSTALL_SILENT", kExported, kNo),
    row("STATIC", kExported, kNo),
    row("AUTO_UPDATE", kExported, kNo),
    row("SPONSORS", kExported, kNo),
    row("WEB_NORV", kExported, kNo),
    row("WEB_ANALYTICS", kExported, kNo),
    row("OEMUPDATE", kExported, kNo),
    row("DYNAMICBASELINEOFF", kNo, kNo),
    row("NO_VERIFY", kNo, kNo),
    row("REPAIRMODE", kExported, kNo),
    row("LAUNCHEDFROMQVK", kNo, kNo),
    row("REMOVEOUTOFDATEQVRS", kNo, kNo),
    row("REMOVEOLDERQVRS", kNo, kPassed),
    row("NOSTARTMENU", kExported, kNo),
    row("RETAIN_DQX_FILES", kNo, kNo),
    // The keys with a path.
    row("INSTALLDIR", kExported, kNo),
    row("/INSTALLDIRPUBQVR", kExported, kNo),
    row("INSTALLCFG", kExported, kNo),
    // The other keys with a string.
    row("ProductCode", kExported, kNo),
    row("BASEIMAGECHECKSUMSHA256", kExported, kNo),
    row("COUNTRYOVERRIDE", kNo, kNo),
    row("/installurl", kNo, kNo),
    row("/installmethod", kNo, kNo),
    row("SPONSORPREF", kNo, kNo),
    row("ADDLOCAL", kNo, kPassed),
    row("REBOOT", kNo, kPassed),
    row("MSI_CMDLINE", kNo, kNo),
    row("CMDLINE", kNo, kNo),
    // The keys with a number.
    row("WEB_NORV_SECURITY_LEVEL", kExported, kNo),
    row("/lang", kNo, kNo),
    row("TEST_CONFIG_FILE_ERRORS", kNo, kNo),
    // The switches, which have no value.
    row("/s", kNo, kNo),
    row("/h", kNo, kNo),
    row("-download", kNo, kNo),
    row("-no_override", kNo, kNo),
    row("/q", kNo, kPassed, kPrefix),
    row("/l", kNo, kPassed, kPrefix),
};
// clang-format on

/// In the order of StringParam.
constexpr std::array<const char*, kStringParams> kStringNames = {"INSTALLDIR",
                                                                 "INSTALLCFG",
                                                                 "/INSTALLDIRPUBQVR",
                                                                 "COUNTRYOVERRIDE",
                                                                 "/installurl",
                                                                 "/installmethod",
                                                                 "SPONSORPREF",
                                                                 "ADDLOCAL",
                                                                 "REBOOT",
                                                                 "MSI_CMDLINE",
                                                                 "CMDLINE",
                                                                 "ProductCode",
                                                                 "BASEIMAGECHECKSUMSHA256"};

constexpr std::array<std::string_view, 6> kSwitches = {"/s",           "/h", "-download",
                                                       "-no_override", "/q", "/l"};

bool isSwitch(std::string_view name) {
    return std::find(kSwitches.begin(), kSwitches.end(), name) != kSwitches.end();
}

std::string lowerCase(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return result;
}

}  // namespace

const char* paramName(FlagParam param) {
    return kParams[static_cast<int>(param)].name;
}

const char* paramName(StringParam param) {
    return kStringNames[static_cast<std::size_t>(param)];
}

std::vector<ParamDescriptor> makeParamTable() {
    return {std::begin(kParams), std::end(kParams)};
}

bool matchesArgument(const ParamDescriptor& descriptor, const std::string& argument) {
    const std::size_t separator = argument.find_first_of("=:");
    const std::string head = lowerCase(argument.substr(0, separator));
    const bool hasSeparator = separator != std::string::npos;
    if (isSwitch(descriptor.name) == hasSeparator) {
        return false;
    }
    const std::string name = lowerCase(descriptor.name);
    return descriptor.prefixMatch ? head.starts_with(name) : head == name;
}

const ParamDescriptor* findParam(const std::vector<ParamDescriptor>& params,
                                 const std::string& argument) {
    const auto found = std::find_if(
        params.begin(), params.end(),
        [&](const ParamDescriptor& param) { return matchesArgument(param, argument); });
    return found == params.end() ? nullptr : &*found;
}
