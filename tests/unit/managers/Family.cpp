#include "unit/managers/Family.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "windows/common/Paths.h"

namespace family {

namespace {

View viewOf(const InstalledNorv& product) {
    return product.bits == 32 ? View::Bits32 : View::Bits64;
}

tstring versionKey(const InstalledNorv& product) {
    return _T("HKLM\\") + getVersionKeyPath(product);
}

void append(std::string& list, const char* separator, const std::string& item) {
    list += (list.empty() ? "" : separator) + item;
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
    result.homeDir = fromUtf8("C:\\Norv\\" + std::string(text));
    std::ranges::replace(result.homeDir.begin() + 2, result.homeDir.end(), _T(':'), _T('-'));
    return result;
}

std::vector<InstalledNorv> products(std::string_view texts) {
    std::vector<InstalledNorv> result;
    std::istringstream words{std::string(texts)};
    for (std::string word; words >> word && word != "-";) {
        result.push_back(product(word));
    }
    return result;
}

std::string name(const InstalledNorv* product) {
    return product == nullptr ? "-"
                              : "rkg"[product->type] + std::to_string(product->bits) + ":" +
                                    toUtf8(NorvVersionDetails::sourceText(product->version));
}

Family::Family(std::string_view installed) {
    machine.volumes.addDirectory(kMenu);
    machine.registry.setExpandString(View::Bits64, kEnvironment, _T("Path"), _T("C:\\Windows"));
    for (const InstalledNorv& one : products(installed)) {
        put(name(&one));
    }
}

void Family::put(std::string_view text) {
    const InstalledNorv one = product(text);
    for (const TCHAR* file : {_T("norv.exe"), _T("wmq.exe"), _T("alinkswitch.exe"),
                              _T("WindowsAssistLink-64.dll"), _T("WindowsAssistLink-32.dll")}) {
        for (const TCHAR* directory : {_T("\\bin\\"), _T("\\qvr\\bin\\")}) {
            machine.volumes.addFile(one.homeDir + directory + file, std::string(text));
        }
    }
    for (const TCHAR* valueName : {_T("NorvHome"), _T("RuntimeLib"), _T("MicroVersion")}) {
        machine.registry.setString(viewOf(one), versionKey(one), valueName, one.homeDir + _T("\\"));
    }
    listed.push_back(one);
}

bool Family::update(UpdateAction action, std::string_view text) {
    NorvSetupManager manager;
    manager.product = product(text);
    manager.action = action;
    return manager.update(config, listed);
}

void Family::run(std::string_view steps) {
    std::istringstream words{std::string(steps)};
    for (std::string word; words >> word;) {
        const std::string text = word.substr(1);
        if (word[0] == '+') {
            put(text);
            EXPECT_TRUE(update(UpdateAction::Install, text));
        } else {
            EXPECT_TRUE(update(UpdateAction::Remove, text));
            machine.registry.deleteKey(viewOf(product(text)), versionKey(product(text)));
            std::erase_if(listed, [&](const InstalledNorv& one) { return name(&one) == text; });
        }
    }
}

void Family::handle(NorvSetupManager::Callback& manager) {
    const UpdatePlan plan(listed, InstalledNorv(), UpdateAction::None);
    manager.handle(plan.context(), config, nullptr);
}

std::string Family::tree(const tstring& key, View view) const {
    if (!machine.registry.hasKey(view, key)) {
        return "gone";
    }
    std::string result;
    for (const tstring& subkey : machine.registry.subkeys(view, key)) {
        const tstring path = key + _T("\\") + subkey;
        const std::string current = value(path, _T("CurrentVersion"), view);
        const std::string below = tree(path, view);
        append(result, " ",
               toUtf8(subkey) + (current == "(none)" ? "" : "=" + current) +
                   (below.empty() ? "" : "{" + below + "}"));
    }
    return result;
}

std::string Family::value(const tstring& key, const tstring& name, View view) const {
    return toUtf8(machine.registry.getString(view, key, name).value_or(_T("(none)")));
}

std::string Family::values(const tstring& key) const {
    std::string result;
    for (const tstring& name : machine.registry.valueNames(View::Bits64, key)) {
        append(result, "|", toUtf8(name) + "=" + value(key, name));
    }
    return result;
}

std::string Family::files(const tstring& directory) const {
    std::string result;
    for (const tstring& path : machine.volumes.files(directory)) {
        if (FileUtils::dirname(path) == directory) {
            append(result, "|", toUtf8(FileUtils::basename(path)));
        }
    }
    return result;
}

std::string Family::catchPoints() const {
    std::string result;
    for (const LogRecord& record : logRecords(machine)) {
        result += record.level == "ERROR" ? record.function + " " : "";
    }
    return result;
}

}  // namespace family
