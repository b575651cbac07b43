#include "simulated/machine/installer/Installer.h"

#include <winerror.h>

#include <algorithm>

#include "simulated/machine/Wide.h"

namespace simulated {

namespace {

/// The path that the installer gives the n-th cached package.
std::u16string cachedPackagePath(std::size_t n) {
    const std::u16string digits = fromUtf8(std::to_string(1000 + n));
    return u"C:\\Windows\\Installer\\1a2b" + digits + u".msi";
}

}  // namespace

bool sameCode(std::u16string_view a, std::u16string_view b) {
    // From the end: the codes of a family begin alike, and there are many to compare.
    return std::equal(a.rbegin(), a.rend(), b.rbegin(), b.rend(),
                      [](char16_t left, char16_t right) {
                          return left == right || upperCase(left) == upperCase(right);
                      });
}

Product& Installer::addProduct(Product product) {
    product.properties.try_emplace(INSTALLPROPERTY_LOCALPACKAGE, cachedPackagePath(addedProducts_));
    ++addedProducts_;
    return *products_.emplace_back(std::make_unique<Product>(std::move(product)));
}

bool Installer::removeProduct(const std::u16string& code) {
    return std::erase_if(products_, [&](const std::unique_ptr<Product>& product) {
               return sameCode(product->code, code);
           }) != 0;
}

Product* Installer::product(const std::u16string& code) {
    const auto found = std::find_if(
        products_.begin(), products_.end(),
        [&](const std::unique_ptr<Product>& product) { return sameCode(product->code, code); });
    return found == products_.end() ? nullptr : found->get();
}

Package& Installer::addPackage(const std::u16string& path) {
    return packages_[path];
}

const Package* Installer::packageAt(const std::u16string& path) const {
    for (const std::unique_ptr<Product>& product : products_) {
        const auto cached = product->properties.find(INSTALLPROPERTY_LOCALPACKAGE);
        if (cached != product->properties.end() && !path.empty() &&
            sameText(cached->second, path)) {
            return &product->package;
        }
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
}

void Installer::restart() {
    sessions_.clear();
}

void Installer::describe(std::vector<std::string>& facts) const {
    for (const std::unique_ptr<Product>& product : products_) {
        const std::string head = "product " + toUtf8(product->code);
        facts.push_back(head + " upgrade code " + toUtf8(product->upgradeCode));
        for (const auto& [name, value] : product->properties) {
            facts.push_back(head + " " + toUtf8(name) + "=" + toUtf8(value));
        }
    }
}

}  // namespace simulated
