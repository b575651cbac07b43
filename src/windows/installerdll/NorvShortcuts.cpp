#include "windows/installerdll/NorvShortcuts.h"

#include <shlobj.h>

#include <vector>

#include "common/share/LogException.h"
#include "common/share/Logger.h"
#include "windows/common/FileUtils.h"
#include "windows/common/Shortcut.h"
#include "windows/common/SysInfo.h"
#include "windows/installerdll/MenuTexts.h"
#include "windows/installerdll/WebSites.h"

namespace {

using NorvEnvironment::latestOfType;
using Version = NorvVersionDetails::Base;

constexpr const TCHAR* kMinimalVersion = _T("1.7.0_40");

/// Returns the folder of a type in the Start menu of all users.
tstring folderOf(std::int32_t type) {
    return FileUtils::combinePath(SysInfo::SHGetFolderPathAdapter(CSIDL_COMMON_PROGRAMS, 0),
                                  type == Bundle::kQvr ? _T("Norv") : _T("Norv Development Kit"));
}

/// Returns the address of the documentation for the version.
tstring docsAddress(const Version& version) {
    if (version.tag() != NorvVersionDetails::kLegacyTag &&
        version.tag() != NorvVersionDetails::kZentraTag) {
        Version::throwUnrecognizedVersionType();
    }
    const TCHAR* page = version < Version(_T("9")) ? _T("docs") : _T("index.html");
    return Text() << kDocsAddress << _T("/norvse/") << version[1] << _T("/") << page;
}

/// Detects the user's language for each text.
tstring menuText(TextGetter getter) {
    return getText(getter, Locale());
}

Shortcut makeShortcut(TextGetter name, TextGetter description, const tstring& target,
                      const tstring& arguments = tstring()) {
    Shortcut shortcut;
    shortcut.name = menuText(name);
    shortcut.description = menuText(description);
    shortcut.target = target;
    shortcut.arguments = arguments;
    return shortcut;
}

std::vector<Shortcut> qvrShortcuts(const InstalledNorv& product) {
    using namespace menu_texts;
    const tstring site = kSiteAddress;
    const tstring controlPanel = toolPath(product, _T("norvcpl.exe"));
    return {
        makeShortcut(visitSite, learnMore, site + _T("/")),
        makeShortcut(getHelp, getHelpHint, site + _T("/help")),
        makeShortcut(configure, configureHint, controlPanel),
        makeShortcut(checkForUpdates, checkForUpdatesHint, controlPanel, _T("-tab update")),
        makeShortcut(about, aboutHint, controlPanel, _T("-tab about")),
    };
}

std::vector<Shortcut> qvkShortcuts(const InstalledNorv& product) {
    using namespace menu_texts;
    return {makeShortcut(referenceDocs, referenceDocsHint, docsAddress(product.version))};
}

/// Deletes and recreates the folder of the product's type.
void updateShortcuts(const InstalledNorv& product) {
    TRACE_SCOPE("`anonymous-namespace'::updateShortcuts", "updateShortcuts");
    const ComInitializer com;
    const tstring icon = toolPath(product, _T("norv.exe"));
    // Older products expect their web shortcuts to be named as links.
    const auto fileType =
        product.version >= Version(_T("1.8.0_60")) ? Shortcut::kByTarget : Shortcut::kAlwaysLnk;
    const tstring folder = folderOf(product.type);
    std::vector<Shortcut> shortcuts =
        product.type == Bundle::kQvr ? qvrShortcuts(product) : qvkShortcuts(product);

    FileUtils::createDirectories(folder);
    FileUtils::deleteFiles(folder);
    for (Shortcut& shortcut : shortcuts) {
        shortcut.folder = folder;
        shortcut.fileType = fileType;
        if (shortcut.icon.empty()) {
            shortcut.icon = icon;
        }
        runLogged("`anonymous-namespace'::updateShortcuts", [&] { shortcut.create(); });
    }
}

void removeShortcuts(std::int32_t type) {
    TRACE_SCOPE("`anonymous-namespace'::removeShortcuts", "removeShortcuts");
    FileUtils::Deleter deleter(false);
    deleter.appendTree(folderOf(type));
    deleter.execute();
}

/// A type and the product that its folder is for, or none.
class ProductShortcuts {
public:
    ProductShortcuts(std::int32_t type, const InstalledNorv* product)
        : type_(type), product_(product) {
        if (product != nullptr && product->type != type) {
            raise<std::invalid_argument>(
                "`anonymous-namespace'::ProductShortcuts::ProductShortcuts",
                "inconsistent arguments");
        }
    }

    /// Brings the folder into line.
    void apply(const InstallConfigData& config) const {
        if (product_ != nullptr && isSupported(config)) {
            updateShortcuts(*product_);
        } else {
            removeShortcuts(type_);
        }
    }

private:
    /// Returns whether the product, which must not be null, gets shortcuts at all.
    bool isSupported(const InstallConfigData& config) const {
        if (product_->version < Version(kMinimalVersion)) {
            return refuse(Text() << _T(" The minimal supported version is ") << kMinimalVersion);
        }
        if (type_ == Bundle::kQvk && product_->version < Version(_T("11"))) {
            const tstring tool = toolPath(*product_, _T("wmq.exe"));
            if (!FileUtils::exists(tool)) {
                return refuse(Text() << _T(" ") << tool
                                     << _T(" not found. Probably this release doesn't include ")
                                        _T("commercial features."));
            }
        }
        if (isSwitchedOff(config)) {
            return refuse(_T(" They are disabled with install configuration."));
        }
        return true;
    }

    bool isSwitchedOff(const InstallConfigData& config) const {
        return type_ == Bundle::kQvr
                   ? config.isParamEnabled(FlagParam::NoStartMenu)
                   : getMsiValue(*product_, _T("NOSTARTMENU"), tstring()) == _T("1");
    }

    /// Logs why there are no shortcuts.
    bool refuse(const tstring& reason) const {
        LOG_WARNING("`anonymous-namespace'::ProductShortcuts::isSupported",
                    Text() << _T("Norv version=")
                           << NorvVersionDetails::sourceText(product_->version)
                           << _T(" doesn't support Start Menu shortcuts.") << reason);
        return false;
    }

    std::int32_t type_;
    const InstalledNorv* product_;
};

}  // namespace

void NorvShortcutsManager::onNoQvr() {
    removeShortcuts(Bundle::kQvr);
}

void NorvShortcutsManager::onNoQvk() {
    removeShortcuts(Bundle::kQvk);
}

void NorvShortcutsManager::handle(const UpdateContext& context, const InstallConfigData& config,
                                  const InstalledNorv*) {
    if (context.all.empty()) {
        return;
    }
    for (const std::int32_t type : {Bundle::kQvr, Bundle::kQvk}) {
        ProductShortcuts(type, latestOfType(context.selection, type)).apply(config);
    }
}
