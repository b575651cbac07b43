#include "unit/managers/Family.h"

#include <set>
#include <sstream>

#include "builders/Product.h"
#include "common/share/LogException.h"

namespace family {

namespace {

Product package(const std::string& text, unsigned bitsOfWindows = 64) {
    const std::string version = text.substr(4);
    const unsigned bits = text[1] == '3' ? 32 : 64;
    Product result = text[0] == 'r'   ? qvr(version, bits, bitsOfWindows)
                     : text[0] == 'k' ? qvk(version, bits, bitsOfWindows)
                                      : graphics(version);
    result.setHome(fromUtf8("C:\\" + text.substr(0, 3) + "-" + text.substr(4)));
    result.files.push_back(u"bin\\wmq.exe");
    return result;
}

void append(std::string& list, const char* separator, const std::string& item) {
    list += (list.empty() ? "" : separator) + item;
}

}  // namespace

Family::Family(const std::string& installed, bool is64BitSystem) {
    if (!is64BitSystem) {
        machine.become32Bit();
    }
    machine.volumes.addDirectory(kMenu);
    machine.registry.setExpandString(View::Bits64, kEnvironment, u"Path", u"C:\\Windows");
    std::istringstream words(installed);
    for (std::string word; words >> word;) {
        install(machine, package(word, is64BitSystem ? 64 : 32));
    }
    listed = NorvEnvironment::detect(0x37);
}

InstalledNorv Family::product(const std::string& text) const {
    return NorvEnvironment::getByProductCode(listed, Guid(package(text).code));
}

bool Family::update(UpdateAction action, const std::string& text) {
    NorvSetupManager manager;
    manager.product = action == UpdateAction::None ? InstalledNorv() : product(text);
    manager.action = action;
    return manager.update(config, listed);
}

void Family::handle(NorvSetupManager::Callback&& manager) {
    const UpdatePlan plan(listed, InstalledNorv(), UpdateAction::None);
    runLogged("handle", [&] { manager.handle(plan.context(), config, nullptr); });
}

std::string Family::tree(const tstring& key, View view) const {
    static const std::set<tstring> ofInstallers = {u"NorvHome", u"RuntimeLib", u"MicroVersion"};
    if (!machine.registry.hasKey(view, key)) {
        return "gone";
    }
    std::string values;
    for (const tstring& name : machine.registry.valueNames(view, key)) {
        const auto type = machine.registry.getValue(view, key, name)->type;
        const auto text = machine.registry.getString(view, key, name);
        if (!ofInstallers.contains(name)) {
            append(values, "|",
                   toUtf8(name + (type == REG_EXPAND_SZ ? u"%=" : u"=") + text.value_or(u"")));
        }
    }
    std::string subkeys;
    for (const tstring& subkey : machine.registry.subkeys(view, key)) {
        append(subkeys, " ", toUtf8(subkey) + tree(key + u"\\" + subkey, view));
    }
    return (values.empty() ? "" : "[" + values + "]") +
           (subkeys.empty() ? "" : "{" + subkeys + "}");
}

std::string Family::value(const tstring& key, const tstring& name) const {
    return toUtf8(machine.registry.getString(View::Bits64, key, name).value_or(u"none"));
}

std::string Family::files(const tstring& directory) const {
    std::string result;
    for (const tstring& path : machine.volumes.files(directory)) {
        append(result, "|", toUtf8(path.substr(directory.size() + 1)));
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
