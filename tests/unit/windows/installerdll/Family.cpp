#include "unit/windows/installerdll/Family.h"

#include "common/share/LogException.h"

namespace family {

Product withZepmark(Product product) {
    product.files.push_back(u"bin\\wmq.exe");
    return product;
}

Product without(Product product, const tstring& file) {
    EXPECT_EQ(std::erase(product.files, file), 1u) << toUtf8(file);
    return product;
}

Family::Family(const std::vector<Product>& installed, bool is64BitSystem) {
    if (!is64BitSystem) {
        machine.become32Bit();
    }
    machine.volumes.addDirectory(kMenu);
    machine.registry.setExpandString(View::Bits64, kEnvironment, u"Path", u"C:\\Windows");
    for (const Product& product : installed) {
        install(machine, product);
    }
    using namespace NorvEnvironment;
    listed = detect(kDetectQvr | kDetectQvk | kDetectNorvGfx | kDetect32Bit | kDetect64Bit);
}

bool Family::update(UpdateAction action, const Product& changed) {
    NorvSetupManager manager;
    manager.product = NorvEnvironment::getByProductCode(listed, Guid(changed.code));
    manager.action = action;
    return manager.update(config, listed);
}

void Family::handle(NorvSetupManager::Callback&& manager) {
    const UpdatePlan plan(listed, InstalledNorv(), UpdateAction::None);
    runLogged("handle", [&] { manager.handle(plan.context(), config, nullptr); });
}

Strings Family::subkeys(const tstring& key, View view) const {
    if (!machine.registry.hasKey(view, key)) {
        return {kNone};
    }
    Strings paths;
    for (const tstring& subkey : machine.registry.subkeys(view, key)) {
        paths.push_back(toUtf8(subkey));
        for (const std::string& path : subkeys(key + u"\\" + subkey, view)) {
            paths.push_back(toUtf8(subkey) + "\\" + path);
        }
    }
    return paths;
}

std::string Family::value(const tstring& key, const tstring& name, View view) const {
    return toUtf8(machine.registry.getString(view, key, name).value_or(fromUtf8(kNone)));
}

Strings Family::files(const tstring& directory) const {
    Strings paths;
    for (const tstring& path : machine.volumes.files(directory)) {
        paths.push_back(toUtf8(path.substr(directory.size() + 1)));
    }
    return paths;
}

std::string Family::content(const tstring& path) const {
    return machine.volumes.content(path).value_or(kNone);
}

Strings Family::failedFunctions() const {
    Strings functions;
    for (const LogRecord& record : logRecords(machine)) {
        if (record.level == "ERROR") {
            functions.push_back(record.function);
        }
    }
    return functions;
}

}  // namespace family
