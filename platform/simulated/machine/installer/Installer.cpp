#include "simulated/machine/installer/Installer.h"

#include <winerror.h>

#include "simulated/machine/Wide.h"

namespace simulated {

Package& Installer::addPackage(const std::u16string& path) {
    return packages_[path];
}

const Package* Installer::packageAt(std::u16string_view path) const {
    if (const Package* const cached = products_.packageAt(path)) {
        return cached;
    }
    const auto found = packages_.find(path);
    return found == packages_.end() ? nullptr : &found->second;
}

MSIHANDLE Installer::openSession(std::map<std::u16string, std::u16string> properties) {
    const MSIHANDLE handle = nextHandle_++;
    sessions_.emplace(handle,
                      std::make_unique<InstallSession>(InstallSession{std::move(properties)}));
    return handle;
}

MSIHANDLE Installer::openDeferredSession(const std::u16string& customActionData) {
    const MSIHANDLE handle = openSession({{u"CustomActionData", customActionData}});
    session(handle).modes = {MSIRUNMODE_SCHEDULED};
    session(handle).deferred = true;
    return handle;
}

InstallSession& Installer::session(MSIHANDLE handle) {
    return *sessions_.at(handle);
}

InstallSession* Installer::openSessionOf(MSIHANDLE handle) {
    const auto found = sessions_.find(handle);
    return found == sessions_.end() || closedSessions_.contains(handle) ? nullptr
                                                                        : found->second.get();
}

bool Installer::close(MSIHANDLE handle) {
    return handles_.erase(handle) != 0 ||
           (openSessionOf(handle) != nullptr && closedSessions_.insert(handle).second);
}

std::u16string Installer::property(MSIHANDLE session, const std::u16string& name) const {
    const std::map<std::u16string, std::u16string>& properties = sessions_.at(session)->properties;
    const auto found = properties.find(name);
    return found == properties.end() ? std::u16string() : found->second;
}

int Installer::sendMessage(UINT type, const std::u16string& text) const {
    const DWORD filter = DWORD{1} << (type >> 24);
    if (settings_.handler == nullptr || (settings_.handlerFilter & filter) == 0) {
        return 0;
    }
    return settings_.handler(settings_.handlerContext, type, text.c_str());
}

UINT Installer::configure(const ConfigureCall& call) {
    if (onConfigure) {
        return onConfigure(call);
    }
    if (call.state == INSTALLSTATE_ABSENT) {
        removeProduct(call.product);
    }
    return ERROR_SUCCESS;
}

MSIHANDLE Installer::add(std::shared_ptr<MsiObject> object) {
    const MSIHANDLE handle = nextHandle_++;
    handles_.emplace(handle, std::move(object));
    return handle;
}

std::vector<std::string> Installer::openHandles() const {
    std::vector<std::string> descriptions;
    for (const auto& [handle, object] : handles_) {
        descriptions.push_back(object->description());
    }
    return descriptions;
}

void Installer::endProcess() {
    handles_.clear();
    closedSessions_.clear();
    settings_ = ProcessSettings();
    nextProduct_ = 0;
}

void Installer::restart() {
    sessions_.clear();
}

void Installer::describe(std::vector<std::string>& facts) const {
    for (const Product* const product : products_) {
        const std::string head = "product " + toUtf8(product->code);
        facts.push_back(head + " upgrade code " + toUtf8(product->upgradeCode));
        for (const auto& [name, value] : product->properties) {
            facts.push_back(head + " " + toUtf8(name) + "=" + toUtf8(value));
        }
    }
}

}  // namespace simulated
