#include "windows/common/NorvEnvironment.h"

#include <windows.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>

#include "common/share/LogException.h"
#include "common/share/Logger.h"
#include "common/share/PmtError.h"
#include "common/share/Text.h"
#include "common/share/tstrings.h"
#include "windows/common/Crypto.h"
#include "windows/common/FileUtils.h"
#include "windows/common/InstalledNorvTracker.h"
#include "windows/common/MsiDb.h"
#include "windows/common/MsiUtils.h"
#include "windows/common/Registry.h"
#include "windows/common/SysInfo.h"
#include "windows/common/VersionResource.h"
#include "windows/common/unzip/unzip.h"

namespace {

using Version = NorvVersionDetails::Base;

constexpr std::size_t kFullPrecision = Version::kComponents;

constexpr const TCHAR* kUninstallKeys =
    _T("SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\");

/// The database of one product's package, opened on first use.
using DatabaseHolder = std::unique_ptr<msi::Database>;

bool isQvrOrQvk(const TrackedProduct& product) {
    return product.type == Bundle::kQvr || product.type == Bundle::kQvk;
}

// ---- The product's keys in the registry ----

/// Returns the hive that has the key; the 64-bit one if both do.
const Registry& getRegKey(const tstring& path) {
    constexpr const char* kFunction = "`anonymous-namespace'::getRegKey";
    const bool isIn32 = HKLM32.hasSubkey(path);
    const bool isIn64 = SysInfo::is64BitOs() && HKLM64.hasSubkey(path);
    if (isIn64) {
        if (isIn32) {
            LOG_WARNING(kFunction,
                        Text() << _T("Registry key [") << path
                               << _T("] exists in both 32bit and 64bit HKLM registry hives. Use ")
                                  _T("from 64bit hive."));
        }
        return HKLM64;
    }
    if (isIn32) {
        return HKLM32;
    }
    raise<std::runtime_error>(kFunction, Text() << _T("Registry key '") << path
                                                << _T("' not found in none of HKLM hives"));
}

/// The values of a product's Uninstall key, which is opened on first use.
class UninstallKey {
public:
    explicit UninstallKey(const tstring& productCode) : path_(kUninstallKeys + productCode) {}

    /// Returns an empty string if the value doesn't exist. Throws if the key doesn't exist.
    tstring getString(const tstring& name) {
        if (!key_) {
            key_.emplace(getRegKey(path_), path_, Registry::Mode::Read);
        }
        return key_->getString(name, tstring());
    }

private:
    tstring path_;
    std::optional<Registry> key_;
};

std::int32_t getType(const TrackedProduct& product) {
    if (!isQvrOrQvk(product)) {
        raise<std::runtime_error>("`anonymous-namespace'::getType",
                                  Text() << _T("Unknown Norv installation type: ") << product.type);
    }
    return product.type;
}

std::uint32_t getArch(const TrackedProduct& product) {
    if (product.bits != 32 && product.bits != 64) {
        raise<std::runtime_error>("`anonymous-namespace'::getArch",
                                  Text() << _T("Unknown bits value: ") << product.bits);
    }
    return product.bits;
}

/// Returns a value of the product's version key; empty if it can't be read.
tstring getVersionKeyValue(const TrackedProduct& product, const tstring& valuePath) {
    const Bundle bundle(getType(product), product.version, getArch(product));
    return getRootKey(bundle).getString(
        FileUtils::combinePath(getVersionKeyPath(bundle), valuePath), tstring());
}

// ---- Type and architecture, for trackers that don't know them ----

std::int32_t detectType(const tstring& productCode) {
    LOG_TRACE("`anonymous-namespace'::detectType",
              Text() << _T("Detect type of ") << productCode << _T(" Norv installation"));
    const tstring name = msi::getProductInfo(Guid(productCode), _T("ProductName"));
    const bool isQvk = name.find(_T("Norv Core Development Kit")) != tstring::npos;
    return isQvk ? Bundle::kQvk : Bundle::kQvr;
}

std::uint32_t detectBits(const TrackedProduct& product) {
    LOG_TRACE("`anonymous-namespace'::detectBits",
              Text() << _T("Detect arch of ") << product.productCode << _T(" Norv installation"));
    return &getRegKey(kUninstallKeys + product.productCode) == &HKLM64 ? 64 : 32;
}

// ---- Home directory ----

bool isHomeDir(const TrackedProduct& product, const tstring& directory) {
    const auto hasProgram = [&](const TCHAR* program) {
        return FileUtils::isFile(FileUtils::combinePath(directory, program));
    };
    switch (product.type) {
        case Bundle::kQvr:
            return hasProgram(_T("bin\\norv.exe"));
        case Bundle::kQvk:
            return hasProgram(_T("bin\\norv.exe")) && hasProgram(_T("bin\\norvc.exe"));
        default:
            return false;
    }
}

bool isAbsolute(const tstring& path) {
    const auto isSeparator = [](TCHAR c) { return c == _T('/') || c == _T('\\'); };
    return (!path.empty() && isSeparator(path[0])) ||
           (path.size() >= 3 && path[1] == _T(':') && isSeparator(path[2]));
}

/// Returns the first home directory from the path upwards, or an empty string.
tstring findHomeDirAbove(const TrackedProduct& product, const tstring& path) {
    if (product.type == TrackedProduct::kUnknownType || !isAbsolute(path)) {
        return tstring();
    }
    tstring directory = FileUtils::removeTrailingSlash(path);
    while (!directory.empty() && !isHomeDir(product, directory)) {
        directory = FileUtils::dirname(directory);
    }
    return directory;
}

constexpr const char* kDetectHomeDir = "`anonymous-namespace'::detectHomeDir";

/// Detects the home directory of a product without "InstallLocation"; may be empty.
tstring detectHomeDirByFiles(const TrackedProduct& product, const Guid& productCode) {
    constexpr const char* kFunction = kDetectHomeDir;
    const tstring& code = product.productCode;
    const auto traceAttempt = [&](const TCHAR* source) {
        LOG_TRACE(kFunction, Text() << _T("Try home directory from ") << source << _T(" of ")
                                    << code << _T(" Norv installation."));
    };
    UninstallKey uninstallKey(code);

    traceAttempt(_T("[ProductIcon] product property"));
    tstring icon = msi::tryGetProductInfo(productCode, _T("ProductIcon"));
    if (icon.empty()) {
        traceAttempt(_T("[DisplayIcon] registry value"));
        icon = uninstallKey.getString(_T("DisplayIcon"));
    }
    tstring homeDir = findHomeDirAbove(product, icon);
    if (!homeDir.empty()) {
        return homeDir;
    }

    traceAttempt(_T("[Readme] registry value"));
    homeDir = findHomeDirAbove(product, uninstallKey.getString(_T("Readme")));
    if (!homeDir.empty()) {
        return homeDir;
    }

    traceAttempt(_T("[NorvHome] registry value"));
    return getVersionKeyValue(product, _T("NorvHome"));
}

tstring detectHomeDir(const TrackedProduct& product) {
    constexpr const char* kFunction = kDetectHomeDir;
    const tstring& code = product.productCode;
    LOG_TRACE(kFunction, Text() << _T("Find home dir of ") << code << _T(" Norv installation"));
    const Guid productCode(code);
    const tstring location = msi::tryGetProductInfo(productCode, _T("InstallLocation"));
    if (!location.empty()) {
        return location;
    }
    LOG_WARNING(kFunction,
                Text() << _T("Unexpected empty value of [InstallLocation] product ")
                          _T("property of ")
                       << code
                       << _T(" Norv installation. Fall back to heuristic home directory ")
                          _T("detection."));
    return detectHomeDirByFiles(product, productCode);
}

// ---- Properties of the product's package ----

tstring getMsiProperty(const TrackedProduct& product, DatabaseHolder& holder, const tstring& name) {
    if (holder == nullptr) {
        runLogged("`anonymous-namespace'::getMsiProperty",
                  [&] { holder = std::make_unique<msi::Database>(Guid(product.productCode)); });
    }
    return holder != nullptr ? holder->tryGetProperty(name) : tstring();
}

// ---- Version ----

/// Returns the version that the product's archive names, if it differs from the installer's.
Version adjustVersion(const TrackedProduct& product, const tstring& homeDir) {
    constexpr const char* kFunction = "`anonymous-namespace'::adjustVersion";
    if (product.type != Bundle::kQvr) {
        return product.version;
    }
    return runLogged(kFunction, product.version, [&] {
        const tstring archive = FileUtils::combinePath(homeDir, _T("lib\\rt.vkr"));
        if (!FileUtils::exists(archive)) {
            return product.version;
        }
        const std::string manifest =
            ZipFile(archive).extractEntryAsUtf8String(_T("META-INF/MANIFEST.MF"));
        const Version named = readManifestVersion(manifest);
        if (withoutBuild(product.version) == withoutBuild(named)) {
            return product.version;
        }
        LOG_INFO(kFunction, Text()
                                << _T(" Detected version mapping from ")
                                << product.version.sourceText() << _T(" to ") << named.sourceText()
                                << _T(" in ") << product.productCode << _T(" Norv installation."));
        return named;
    });
}

Version detectFullVersionFromMsi(const TrackedProduct& product, DatabaseHolder& holder) {
    constexpr const char* kFunction = "`anonymous-namespace'::detectFullVersionFromMsi";
    LOG_TRACE(kFunction,
              Text() << _T("detectFullVersionFromMsi(") << product.productCode << _T(")"));
    const Version& given = product.version;
    return runLogged(kFunction, given, [&] {
        tstring name = _T("FullVersion");
        tstring value = getMsiProperty(product, holder, name);
        if (value.empty()) {
            name = _T("QVK_VERSION");
            value = getMsiProperty(product, holder, name);
        }
        if (value.empty()) {
            return given;
        }
        const Version candidate(value);
        if (candidate.precision() <= given.precision()) {
            return given;
        }
        if (!given.sourceText().empty() && family(given) != family(candidate)) {
            LOG_WARNING(kFunction, Text() << product.productCode << _T(": ")
                                          << _T("Given version is [") << given.sourceText()
                                          << _T("]; ")
                                          << _T("Value of \"") << name << _T("\" MSI property is [")
                                          << value << _T("]. Should have the same family."));
        }
        return candidate;
    });
}

/// Completes a legacy version by the build number in the file version of the launcher.
Version detectFullVersionFromHomeDir(const TrackedProduct& product, const tstring& homeDir) {
    constexpr const char* kFunction = "`anonymous-namespace'::detectFullVersionFromHomeDir";
    LOG_TRACE(kFunction, Text() << _T("detectFullVersionFromHomeDir(") << product.productCode
                                << _T(", ") << homeDir << _T(")"));
    const Version& given = product.version;
    if (homeDir.empty()) {
        return given;
    }
    return runLogged(kFunction, given, [&] {
        const tstring launcher = FileUtils::combinePath(homeDir, _T("bin\\norv.exe"));
        const auto file = FileUtils::getFileVersion(launcher);
        SpecializedVersion<NorvVersionDetails::BaseLegacy> version(given);
        if (file[0] == version[1] && file[1] == version[2]) {
            version.leaveOutFrom(4);
            return Version(Text() << toString(version) << _T("-b") << file[3]);
        }
        LOG_WARNING(kFunction, Text() << product.productCode << _T(": ")
                                      << _T("Given version is [") << given.sourceText() << _T("]; ")
                                      << _T("Value of file version extracted from ") << launcher
                                      << _T(" is [") << file[0] << _T(".") << file[1] << _T(".")
                                      << file[2] << _T(".") << file[3]
                                      << _T("]. Unexpected components in file version."));
        return given;
    });
}

Version detectFullVersion(const TrackedProduct& product, const tstring& homeDir,
                          DatabaseHolder& holder) {
    LOG_TRACE("`anonymous-namespace'::detectFullVersion", Text() << _T("Detect full version of ")
                                                                 << product.productCode
                                                                 << _T(" Norv installation"));
    const std::size_t known = product.version.precision();
    const Version fromMsi = detectFullVersionFromMsi(product, holder);
    if (fromMsi.precision() > known) {
        return fromMsi;
    }
    const Version fromHomeDir = detectFullVersionFromHomeDir(product, homeDir);
    if (fromHomeDir.precision() > known) {
        return fromHomeDir;
    }
    return product.version;
}

// ---- Mode and checksum ----

std::int32_t detectQvrMode(const TrackedProduct& product) {
    constexpr const char* kFunction = "`anonymous-namespace'::detectQvrMode";
    LOG_TRACE(kFunction,
              Text() << _T("Detect mode of ") << product.productCode << _T(" Norv installation"));
    return runLogged(kFunction, InstalledNorv::kModeStandard, [&] {
        const tstring mode = getVersionKeyValue(product, _T("MSI\\MODE"));
        const bool isStatic = tstrings::equals(mode, _T("S"), tstrings::CompareType::IgnoreCase);
        return isStatic ? InstalledNorv::kModeStatic : InstalledNorv::kModeStandard;
    });
}

tstring findBaseimageChecksum(const TrackedProduct& product, DatabaseHolder& holder) {
    return runLogged("`anonymous-namespace'::findBaseimageChecksum", tstring(), [&] {
        const tstring enterprise = getMsiProperty(product, holder, _T("Enterprise"));
        if (tstrings::equals(enterprise, _T("yes"), tstrings::CompareType::IgnoreCase)) {
            return getEnterpriseChecksum();
        }
        const tstring checksum = getMsiProperty(product, holder, _T("BaseimageChecksumSHA256"));
        return checksum.empty() ? checksum : verifyChecksumString(checksum, "sha256");
    });
}

// ---- The record ----

const TCHAR* typeName(std::int32_t type) {
    switch (type) {
        case Bundle::kQvr:
            return _T("QVR");
        case Bundle::kQvk:
            return _T("QVK");
        case Bundle::kNorvGfx:
            return _T("NORV_GFX");
        default:
            return _T("Unknown");
    }
}

InstalledNorv getInstalledNorv(TrackedProduct product, DatabaseHolder& holder) {
    const Guid productCode(product.productCode);
    const tstring homeDir = FileUtils::removeTrailingSlash(detectHomeDir(product));
    std::int32_t mode = InstalledNorv::kModeNotDetected;
    if (isQvrOrQvk(product)) {
        if (!homeDir.empty()) {
            product.version = adjustVersion(product, homeDir);
        }
        if (product.version.precision() < kFullPrecision) {
            product.version = detectFullVersion(product, homeDir, holder);
        }
        if (product.type == Bundle::kQvr) {
            mode = detectQvrMode(product);
        }
    }
    const tstring checksum = findBaseimageChecksum(product, holder);

    InstalledNorv record(Bundle(product.type, product.version, product.bits, checksum));
    record.mode = mode;
    record.productCode = productCode;
    record.homeDir = homeDir;
    record.uninstaller = product.uninstaller;

    // A version without a scheme has no canonical form, and its product is left out of the result.
    const tstring canonical = toString(record.version);
    const bool isFull = record.version.precision() == kFullPrecision;
    LOG_TRACE("`anonymous-namespace'::getInstalledNorv",
              Text() << _T("InstalledNorv(") << canonical << _T("|")
                     << (isFull ? record.version.sourceText() : _T("Full version unknown"))
                     << _T("|") << typeName(record.type) << _T("|") << record.bits << _T("bit")
                     << _T("|") << record.homeDir << _T("|") << record.productCode.toString()
                     << _T("|") << record.mode << _T("|") << record.baseimageChecksum << _T(")"));
    return record;
}

std::uint32_t maskOf(const TrackedProduct& product) {
    std::uint32_t mask = 0;
    switch (product.type) {
        case Bundle::kQvr:
            mask |= NorvEnvironment::kDetectQvr;
            break;
        case Bundle::kQvk:
            mask |= NorvEnvironment::kDetectQvk;
            break;
        case Bundle::kNorvGfx:
            mask |= NorvEnvironment::kDetectNorvGfx;
            break;
    }
    switch (product.bits) {
        case 32:
            mask |= NorvEnvironment::kDetect32Bit;
            break;
        case 64:
            mask |= NorvEnvironment::kDetect64Bit;
            break;
    }
    return mask;
}

bool isWanted(const TrackedProduct& product, std::uint32_t mask) {
    constexpr std::uint32_t kTypes =
        NorvEnvironment::kDetectQvr | NorvEnvironment::kDetectQvk | NorvEnvironment::kDetectNorvGfx;
    constexpr std::uint32_t kArchs = NorvEnvironment::kDetect32Bit | NorvEnvironment::kDetect64Bit;
    const std::uint32_t common = maskOf(product) & mask;
    return (common & kTypes) != 0 && (common & kArchs) != 0;
}

}  // namespace

namespace NorvEnvironment {

std::vector<InstalledNorv> detect(std::uint32_t mask) {
    constexpr const char* kFunction = "NorvEnvironment::detect";
    TRACE_SCOPE(kFunction, kFunction);
    std::vector<InstalledNorv> result;
    const auto tracker = createInstalledNorvTracker();
    while (const TrackedProduct* tracked = tracker->next()) {
        TrackedProduct product = *tracked;
        if (product.uninstaller == nullptr) {
            product.uninstaller = &defaultUninstaller();
        }
        LOG_TRACE(kFunction, Text() << _T("Installed Norv detected:")
                                    << _T(" version=") << product.version.sourceText()
                                    << _T("; arch=") << product.bits << _T("; productCode=")
                                    << product.productCode << _T("; type=") << product.type);
        if (product.type == TrackedProduct::kUnknownType) {
            product.type = detectType(product.productCode);
        }
        if (product.bits == 0) {
            product.bits = detectBits(product);
        }
        if (!isWanted(product, mask)) {
            continue;
        }
        runLogged(kFunction, [&] {
            DatabaseHolder holder;
            result.push_back(getInstalledNorv(product, holder));
        });
    }
    return result;
}

const InstalledNorv& getByProductCode(InstalledNorvRange products, const Guid& productCode) {
    const auto found = std::find_if(
        products.begin(), products.end(),
        [&](const InstalledNorv& product) { return product.productCode == productCode; });
    if (found == products.end()) {
        raise<std::runtime_error>("NorvEnvironment::getByProductCode",
                                  Text()
                                      << _T("No matching Norv found for ") << productCode.toString()
                                      << _T(" Product Code in the given products range"));
    }
    return *found;
}

void InstalledNorvsVerifier::operator()(InstalledNorvRange products) const {
    const auto require = [](bool holds, const char* complaint,
                            const SourceLocation& where =
                                "NorvEnvironment::InstalledNorvsVerifier::operator ()") {
        if (!holds) {
            raise<std::invalid_argument>(where, complaint);
        }
    };
    const auto contains = [](const auto& allowed, auto value) {
        return std::find(allowed.begin(), allowed.end(), value) != allowed.end();
    };
    std::set<Guid> codes;
    for (const InstalledNorv& product : products) {
        require(!checkProductCodes || !product.productCode.isEmpty(), "empty product code");
        codes.insert(product.productCode);
    }
    for (const InstalledNorv& product : products) {
        require(!checkHomeDirs || !product.homeDir.empty(), "empty home dir");
    }
    require(!checkDuplicates || codes.size() == products.size(), "duplicated product codes");
    for (const InstalledNorv& product : products) {
        require(allowedTypes.empty() || contains(allowedTypes, product.type), "unexpected types");
    }
    for (const InstalledNorv& product : products) {
        require(allowedBits.empty() || contains(allowedBits, product.bits), "unexpected archs");
    }
}

}  // namespace NorvEnvironment
