#include "windows/installerdll/AssistLink.h"

#include <stdexcept>
#include <vector>

#include "common/share/Logger.h"
#include "windows/common/FileUtils.h"
#include "windows/common/Locales.h"
#include "windows/common/Registry.h"
#include "windows/common/SysInfo.h"
#include "windows/installerdll/MenuTexts.h"

namespace {

using NorvEnvironment::latestOfType;
using NorvEnvironment::makeSelection;
using Version = NorvVersionDetails::Base;

/// Windows' list of assistive technologies; each has a key with these values.
constexpr const TCHAR* kRegistrationKey =
    _T("SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Accessibility\\ATs\\")
    _T("Dovrin_NorvAssistLink");
constexpr const TCHAR* kProfile =
    _T("<HCIModel><Accommodation type=\"mild vision\"/><Accommodation type=\"severe vision\"/>")
    _T("<Accommodation type=\"mild cognitive\"/><Accommodation type=\"severe cognitive\"/>")
    _T("</HCIModel>");

constexpr const TCHAR* kMinimalVersion = _T("1.7.0_06");

/// Returns the product's Assist Link files below its runtime home, the bridge library first.
std::vector<tstring> getAlinkFiles(std::uint32_t bits) {
    if (bits == 64) {
        return {_T("bin\\WindowsAssistLink-64.dll"), _T("bin\\NorvAssistLink.dll"),
                _T("bin\\alinkinspector.exe"), _T("bin\\alinkwalker.exe"),
                _T("lib\\ext\\assist-link-64.vkr")};
    }
    if (bits != 32) {
        raise<std::invalid_argument>("`anonymous-namespace'::getAlinkFiles",
                                     "Unexpected NorvArch value");
    }
    if (SysInfo::is64BitOs()) {
        return {_T("bin\\WindowsAssistLink-32.dll"), _T("bin\\NorvAssistLink-32.dll"),
                _T("bin\\ZelAssistLink-32.dll"),     _T("bin\\alinkinspector-32.exe"),
                _T("bin\\alinkwalker-32.exe"),       _T("lib\\ext\\assist-link-32.vkr")};
    }
    return {_T("bin\\WindowsAssistLink.dll"), _T("bin\\NorvAssistLink.dll"),
            _T("bin\\ZelAssistLink.dll"),     _T("bin\\alinkinspector.exe"),
            _T("bin\\alinkwalker.exe"),       _T("lib\\ext\\assist-link.vkr")};
}

tstring bridgeLibrary(std::uint32_t bits) {
    return getAlinkFiles(bits).front();
}

tstring switchExecutable(const InstalledNorv& product) {
    return FileUtils::combinePath(getRuntimeHome(product), _T("bin\\alinkswitch.exe"));
}

/// Returns the system directory of an architecture, by a path that is not redirected for this
/// process.
tstring systemDirectory(std::uint32_t bits) {
    if (SysInfo::is64BitOs()) {
        if (bits == 64) {
            return SysInfo::getSystem64Dir();
        }
        if (bits == 32 && !SysInfo::isWow64()) {
            return SysInfo::getWow64Dir();
        }
    }
    return SysInfo::getSystemDir();
}

/// Returns the path of a bridge library of `fileBits` in the system directory of `systemBits`.
tstring systemFile(std::uint32_t systemBits, std::uint32_t fileBits) {
    return FileUtils::combinePath(systemDirectory(systemBits),
                                  FileUtils::basename(bridgeLibrary(fileBits)));
}

/// Deletes the bridge libraries, also those in the directory of the other architecture.
void deleteALINKFilesFromSystem() {
    TRACE_SCOPE("`anonymous-namespace'::deleteALINKFilesFromSystem", "deleteALINKFilesFromSystem");
    FileUtils::Deleter deleter(true);
    deleter.appendFile(systemFile(32, 32));
    if (SysInfo::is64BitOs()) {
        deleter.appendFile(systemFile(64, 64));
        deleter.appendFile(systemFile(64, 32));
        deleter.appendFile(systemFile(32, 64));
    }
    deleter.execute();
}

void cleanAssistLinkRegistry() {
    TRACE_SCOPE("`anonymous-namespace'::cleanAssistLinkRegistry", "cleanAssistLinkRegistry");
    HKLM64.tryDeleteKeyTree(kRegistrationKey);
}

void setAssistLinkRegistry(const InstalledNorv& product) {
    TRACE_SCOPE("`anonymous-namespace'::setAssistLinkRegistry", "setAssistLinkRegistry");
    const Registry key(HKLM64, kRegistrationKey, Registry::Mode::Write);
    key.setString(_T("StartExe"), switchExecutable(product));
    key.setString(_T("ApplicationName"), getText(menu_texts::enableAssistLink, Locale()));
    key.setString(_T("Description"), getText(menu_texts::assistLinkHint, Locale()));
    key.setString(_T("Profile"), kProfile);
    key.setString(_T("SimpleProfile"), _T("screenreader"));
    key.setString(_T("StartParams"), _T("-enable"));
}

/// Copies the product's bridge library to the system directory of its architecture.
void copyAlinkDllToSystem(const InstalledNorv& product) {
    TRACE_SCOPE("`anonymous-namespace'::copyAlinkDllToSystem", "copyAlinkDllToSystem");
    const tstring tool = switchExecutable(product);
    if (!FileUtils::exists(tool)) {
        LOG_WARNING("`anonymous-namespace'::copyAlinkDllToSystem",
                    Text() << _T("Not registering Norv=")
                           << NorvVersionDetails::sourceText(product.version)
                           << _T(" for AssistLink, as ") << tool << _T(" doesn't exist."));
        return;
    }
    FileUtils::copyPersistentFile(
        FileUtils::combinePath(getRuntimeHome(product), bridgeLibrary(product.bits)),
        systemFile(product.bits, product.bits));
}

/// Returns the product to register: the latest QVR or QVK, the QVR if the versions are equal. The
/// runtime of a QVK below 11 is not registered.
const InstalledNorv* chooseProduct(const InstalledNorvSelection& selection) {
    const InstalledNorv* qvk = latestOfType(selection, Bundle::kQvk);
    if (qvk != nullptr && qvk->version < Version(_T("11"))) {
        qvk = nullptr;
    }
    const InstalledNorv* qvr = latestOfType(selection, Bundle::kQvr);
    if (qvk == nullptr || qvr == nullptr) {
        return qvk != nullptr ? qvk : qvr;
    }
    return qvk->version > qvr->version ? qvk : qvr;
}

bool isSupported(const InstalledNorv& product) {
    if (product.version >= Version(kMinimalVersion)) {
        return true;
    }
    LOG_WARNING("`anonymous-namespace'::isSupported",
                Text() << _T("Norv version=") << NorvVersionDetails::sourceText(product.version)
                       << _T(" doesn't support Assist Link. The minimal supported version is ")
                       << kMinimalVersion);
    return false;
}

/// Returns the product whose library an architecture gets, or null.
const InstalledNorv* chooseProductOfArch(InstalledNorvRange qvrs, InstalledNorvRange qvks,
                                         std::uint32_t bits) {
    InstalledNorvSelection candidates = makeSelection(qvrs);
    candidates[NorvEnvironment::selectionIndex(Bundle::kQvk, bits)] =
        latestOfType(makeSelection(qvks), Bundle::kQvk);
    return chooseProduct(candidates);
}

void copyLibrary(InstalledNorvRange qvrs, InstalledNorvRange qvks, std::uint32_t bits) {
    const InstalledNorv* product = chooseProductOfArch(qvrs, qvks, bits);
    if (product != nullptr && isSupported(*product)) {
        copyAlinkDllToSystem(*product);
    }
}

}  // namespace

void AssistLinkManager::handle(const UpdateContext& context, const InstallConfigData&,
                               const InstalledNorv*) {
    deleteALINKFilesFromSystem();
    cleanAssistLinkRegistry();

    const InstalledNorv* product = chooseProduct(context.selection);
    if (product == nullptr || !isSupported(*product)) {
        return;
    }
    copyLibrary(context.qvr32, context.qvk32, 32);
    copyLibrary(context.qvr64, context.qvk64, 64);
    setAssistLinkRegistry(*product);
}
