#include "unit/managers/Family.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "common/share/Text.h"
#include "windows/common/Paths.h"

namespace family {

namespace {

View viewOf(const InstalledNorv& product) {
    return product.bits == 32 ? View::Bits32 : View::Bits64;
}

tstring versionKey(const InstalledNorv& product) {
    return _T("HKLM\\") + getVersionKeyPath(product);
}

}  // namespace

InstalledNorv product(std::string_view text) {
    const auto type = static_cast<std::int32_t>(std::string_view("rkg").find(text[0]));
    const std::uint32_t bits = text.substr(1, 2) == "32" ? 32 : 64;
    InstalledNorv result(Bundle(type, NorvVersionDetails::Base(fromUtf8(text.substr(4))), bits));
    char code[40];
    std::snprintf(code, sizeof code, "{00000000-0000-0000-0001-%012llX}",
                  static_cast<unsigned long long>(std::hash<std::string_view>()(text) >> 16));
    result.productCode = Guid(fromUtf8(code));
    result.homeDir = _T("C:\\Norv\\") + tstring(1, text[0]) + fromUtf8(text.substr(1, 2)) +
                     _T("-") + fromUtf8(text.substr(4));
    return result;
}

std::string name(const InstalledNorv& product) {
    return "rkg"[product.type] + std::to_string(product.bits) + ":" +
           toUtf8(NorvVersionDetails::sourceText(product.version));
}

std::string name(const InstalledNorv* product) {
    return product != nullptr ? name(*product) : "-";
}

std::vector<InstalledNorv> products(std::string_view text) {
    std::vector<InstalledNorv> result;
    std::istringstream words{std::string(text)};
    for (std::string word; words >> word && word != "-";) {
        result.push_back(product(word));
    }
    return result;
}

std::string names(InstalledNorvRange list) {
    std::string result;
    for (const InstalledNorv& one : list) {
        result += (result.empty() ? "" : " ") + name(one);
    }
    return result.empty() ? "-" : result;
}

Family::Family() {
    machine.volumes.addDirectory(kMenu);
    machine.registry.setExpandString(
        View::Bits64, _T("HKLM\\SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment"),
        _T("Path"), _T("C:\\Windows"));
}

InstalledNorv Family::put(std::string_view text) {
    const InstalledNorv one = product(text);
    const std::string content = "of " + name(one);
    for (const TCHAR* tool : {_T("norv.exe"), _T("norvw.exe"), _T("norvcpl.exe"), _T("wmq.exe")}) {
        machine.volumes.addFile(one.homeDir + _T("\\bin\\") + tool, content);
    }
    const tstring runtimeBin = getRuntimeHome(one) + _T("\\bin\\");
    machine.volumes.addFile(runtimeBin + _T("alinkswitch.exe"), content);
    for (const TCHAR* suffix : {_T("-64"), _T("-32"), _T("")}) {
        machine.volumes.addFile(runtimeBin + _T("WindowsAssistLink") + suffix + _T(".dll"),
                                content);
    }
    const auto set = [&](const TCHAR* valueName, const tstring& value) {
        machine.registry.setString(viewOf(one), versionKey(one), valueName, value);
    };
    set(_T("NorvHome"), one.homeDir + _T("\\"));
    set(_T("RuntimeLib"), one.homeDir + _T("\\bin\\norv.dll"));
    set(_T("MicroVersion"), fromUtf8(std::to_string(one.version[3])));
    listed.push_back(one);
    return one;
}

void Family::drop(std::string_view text) {
    std::erase_if(listed, [&](const InstalledNorv& one) { return name(one) == text; });
}

bool Family::update(UpdateAction action, std::string_view text) {
    NorvSetupManager manager;
    manager.product = product(text);
    manager.action = action;
    return manager.update(config, listed);
}

bool Family::install(std::string_view text) {
    put(text);
    return update(UpdateAction::Install, text);
}

bool Family::remove(std::string_view text) {
    const bool result = update(UpdateAction::Remove, text);
    machine.registry.deleteKey(viewOf(product(text)), versionKey(product(text)));
    machine.volumes.remove(product(text).homeDir);
    drop(text);
    return result;
}

void Family::run(std::string_view steps) {
    std::istringstream words{std::string(steps)};
    for (std::string word; words >> word;) {
        const std::string text = word.substr(1);
        EXPECT_TRUE(word[0] == '+' ? install(text) : remove(text)) << word;
    }
}

void Family::handle(NorvSetupManager::Callback& manager, UpdateAction action,
                    std::string_view changed) {
    const InstalledNorv one = changed.empty() ? InstalledNorv() : product(changed);
    const UpdatePlan plan(listed, one, action);
    manager.handle(plan.context(), config, changed.empty() ? nullptr : &one);
}

std::string Family::familyKeys(View view) const {
    std::string result;
    for (const TCHAR* key :
         {_T("Norv Runtime Environment"), _T("QVR"), _T("Norv Development Kit"), _T("QVK")}) {
        const tstring path = kVendor + _T("\\") + key;
        if (!machine.registry.hasKey(view, path)) {
            continue;
        }
        std::string subkeys;
        for (const tstring& subkey : machine.registry.subkeys(view, path)) {
            subkeys += (subkeys.empty() ? "" : ",") + toUtf8(subkey);
        }
        result += (result.empty() ? "" : " ") + toUtf8(key) + "{" + subkeys +
                  "}=" + value(path, _T("CurrentVersion"), view);
    }
    return result;
}

std::string Family::value(const tstring& key, const tstring& valueName, View view) const {
    return toUtf8(machine.registry.getString(view, key, valueName).value_or(_T("(none)")));
}

std::string Family::files(const tstring& directory) const {
    std::string result;
    for (const tstring& path : machine.volumes.files(directory)) {
        if (FileUtils::dirname(path) == directory) {
            result += (result.empty() ? "" : "|") + toUtf8(FileUtils::basename(path));
        }
    }
    return result;
}

}  // namespace family
