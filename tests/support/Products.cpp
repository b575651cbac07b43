#include "support/Products.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <iterator>
#include <stdexcept>

#include "simulated/machine/Wide.h"
#include "support/Archive.h"

namespace products {

namespace {

using simulated::toUtf8;
using simulated::View;

const std::u16string kUninstallKeys =
    u"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";

std::u16string ascii(const std::string& text) {
    return {text.begin(), text.end()};
}

template <class... Numbers>
std::u16string format(const char* pattern, Numbers... numbers) {
    char buffer[64];
    std::snprintf(buffer, sizeof(buffer), pattern, numbers...);
    return ascii(buffer);
}

/// The numbers of a version text, read independently of the library.
struct Version {
    explicit Version(const std::u16string& text) {
        const std::string narrow = toUtf8(text);
        std::sscanf(narrow.c_str(), "%d.%d.%d_%d", &numbers[0], &numbers[1], &numbers[2],
                    &numbers[3]);
        if (const auto dash = narrow.find("-b"); dash != std::string::npos) {
            std::sscanf(narrow.c_str() + dash, "-b%d", &build);
        }
        isZentra = numbers[0] >= 9;
        withoutBuild =
            isZentra ? zentraName(narrow) : format("%d.%d.%d", numbers[0], numbers[1], numbers[2]);
        if (!isZentra && numbers[3] > 0) {
            withoutBuild += format("_%02d", numbers[3]);
        }
    }

    /// Up to six numbers, without zeros at the end.
    static std::u16string zentraName(const std::string& text) {
        int all[6] = {};
        std::sscanf(text.c_str(), "%d.%d.%d.%d.%d.%d", &all[0], &all[1], &all[2], &all[3], &all[4],
                    &all[5]);
        const auto last =
            std::find_if(std::rbegin(all), std::rend(all), [](int n) { return n > 0; });
        std::u16string name;
        for (const int* number = all; number != last.base(); ++number) {
            name += format(name.empty() ? "%d" : ".%d", *number);
        }
        return name;
    }

    /// One digit each of major, minor and micro number, as a product code holds them.
    std::u16string threeDigits() const {
        if (numbers[0] > 9 || numbers[1] > 9 || numbers[2] > 9) {
            throw std::invalid_argument("no product code spells this version");
        }
        return format("%d%d%d", numbers[0], numbers[1], numbers[2]);
    }

    int numbers[4] = {};
    int build = 0;
    bool isZentra;
    std::u16string withoutBuild;  ///< as it names the version key
};

std::u16string productCode(const Product& product, const Version& version) {
    const std::u16string bits = format("%u", product.bits);
    if (product.type == Type::NorvGfx) {
        return u"{1111706F-666A-4037-7777-" + version.threeDigits() + bits + u"8764D10}";
    }
    if (version.isZentra) {
        const auto hash = static_cast<unsigned>(std::hash<std::u16string>()(product.version));
        return format("{%08X-0000-4000-8000-%08X%04u}", hash, product.bits * 16,
                      static_cast<unsigned>(product.type));
    }
    if (product.type == Type::Qvk) {
        return u"{" + bits + u"A3A4F4-B792-11D6-A78A-00B0D0" + version.threeDigits() + u"000}";
    }
    return u"{26A24AE4-039D-4CA4-87B4-2F" + bits + version.threeDigits() +
           format("%03dF0}", version.numbers[3]);
}

std::u16string upgradeCode(const Product& product, const Version& version) {
    if (!version.isZentra) {
        return {};
    }
    return product.type == Type::Qvr
               ? format("{57BDA5C6-443C-4D65-B233-28239%u2%04d}", product.bits, version.numbers[0])
               : format("{%uA3A4F4-B792-11D6-A78A-00B0D02%04d0}", product.bits, version.numbers[0]);
}

Product make(Type type, const std::u16string& versionText, unsigned bits) {
    const Version version(versionText);
    Product product{};
    product.type = type;
    product.bits = bits;
    product.version = versionText;
    product.code = productCode(product, version);
    product.upgradeCode = upgradeCode(product, version);
    product.homeDir =
        std::u16string(bits == 64 ? u"C:\\Program Files" : u"C:\\Program Files (x86)") +
        u"\\Norv\\" +
        (type == Type::Qvr   ? u"qvr"
         : type == Type::Qvk ? u"qvk"
                             : u"gfx") +
        u"-" + versionText;
    const std::u16string name =
        type == Type::Qvk ? u"Norv Core Development Kit " : u"Norv Runtime ";
    product.info = {{u"InstallLocation", product.homeDir + u"\\"},
                    {u"ProductName", name + versionText},
                    {u"VersionString", u"1.0.0"}};
    product.packageProperties = {{u"FullVersion", versionText},
                                 {u"ProductCode", product.code},
                                 {u"ProductName", name + versionText}};
    if (!product.upgradeCode.empty()) {
        product.packageProperties[u"UpgradeCode"] = product.upgradeCode;
    }
    product.hasVersionKey = type != Type::NorvGfx;
    return product;
}

void installFiles(simulated::Machine& machine, const Product& product) {
    const Version version(product.version);
    const bool isLegacy = !version.isZentra && product.type != Type::NorvGfx;
    const std::string content = "of " + toUtf8(product.version);
    const auto add = [&](const std::u16string& path) {
        machine.volumes.addFile(product.homeDir + u"\\" + path, content);
    };
    for (const char16_t* tool : {u"norv.exe", u"norvw.exe", u"norvcpl.exe", u"wmq.exe"}) {
        add(std::u16string(u"bin\\") + tool);
    }
    if (product.type == Type::Qvk) {
        add(u"bin\\norvc.exe");
    }
    // 1.8.0_45-b13 stands in the file as 8.0.450.13.
    const auto& [first, second, third, update] = version.numbers;
    const auto word = [](int number) { return static_cast<WORD>(number); };
    const std::u16string launcher = product.homeDir + u"\\bin\\norv.exe";
    if (isLegacy) {
        machine.volumes.setVersion(launcher, word(second), word(third), word(update * 10),
                                   word(version.build));
    } else {
        machine.volumes.setVersion(launcher, word(first), word(second), word(third), 0);
    }
    if (product.hasAssistLink) {
        const std::u16string runtime =
            product.type == Type::Qvk && isLegacy ? u"qvr\\bin\\" : u"bin\\";
        add(runtime + u"alinkswitch.exe");
        for (const char16_t* suffix : {u"-64", u"-32", u""}) {
            add(runtime + u"WindowsAssistLink" + suffix + u".dll");
        }
    }
    if (product.manifestVersion) {
        const std::string manifest =
            "Manifest-Version: 1.0\r\nImplementation-Version: " + toUtf8(*product.manifestVersion) +
            "\r\n";
        machine.volumes.addFile(product.homeDir + u"\\lib\\rt.vkr",
                                archive::make({{"META-INF/MANIFEST.MF", manifest}}).bytes);
    }
}

void installVersionKey(simulated::Machine& machine, const Product& product) {
    const Version version(product.version);
    const std::u16string key = versionKey(product);
    const auto set = [&](std::u16string name, const std::u16string& text) {
        std::u16string place = key;
        if (const auto slash = name.rfind(u'\\'); slash != std::u16string::npos) {
            place += u"\\" + name.substr(0, slash);
            name.erase(0, slash + 1);
        }
        machine.registry.setString(viewOf(product), place, name, text);
    };
    set(u"NorvHome", product.homeDir);
    set(u"RuntimeLib", product.homeDir + u"\\bin\\norv.dll");
    set(u"MicroVersion", format("%d", version.numbers[2]));
    for (const auto& [name, text] : product.versionKeyValues) {
        set(name, text);
    }
}

simulated::Package packageOf(const Product& product) {
    simulated::Package package;
    auto& properties = package.table(u"Property", {u"Property", u"Value"});
    for (const auto& [name, value] : product.packageProperties) {
        properties.row({name, value});
    }
    auto& components = package.table(u"Component", {u"Component", u"ComponentId"});
    components.row({u"launcher", u"{00000000-0000-0000-0000-000000000001}"});
    if (product.providesVomlit) {
        components.row({u"registration", u"{4D5AF522-0BDC-475C-987E-5F111CD11028}"});
    }
    return package;
}

}  // namespace

Product qvr(const std::u16string& version, unsigned bits) {
    return make(Type::Qvr, version, bits);
}

Product qvk(const std::u16string& version, unsigned bits) {
    return make(Type::Qvk, version, bits);
}

Product gfx(const std::u16string& version, unsigned bits) {
    return make(Type::NorvGfx, version, bits);
}

simulated::View viewOf(const Product& product) {
    return product.bits == 32 ? View::Bits32 : View::Bits64;
}

std::u16string versionKey(const Product& product) {
    const Version version(product.version);
    const char16_t* family = product.type == Type::Qvr
                                 ? (version.isZentra ? u"QVR" : u"Norv Runtime Environment")
                                 : (version.isZentra ? u"QVK" : u"Norv Development Kit");
    return std::u16string(u"HKLM\\Software\\Halvorex\\") + family + u"\\" + version.withoutBuild;
}

void install(simulated::Machine& machine, const Product& product) {
    if (product.hasFiles) {
        installFiles(machine, product);
    }
    if (product.hasVersionKey) {
        installVersionKey(machine, product);
    }
    machine.registry.setString(viewOf(product), kUninstallKeys + product.code, u"DisplayName",
                               u"Norv " + product.version);
    machine.installer.addProduct(
        {product.code, product.info, product.upgradeCode, packageOf(product)});
}

void uninstall(simulated::Machine& machine, const Product& product) {
    machine.installer.removeProduct(product.code);
    machine.registry.deleteKey(viewOf(product), kUninstallKeys + product.code);
    if (product.hasVersionKey) {
        machine.registry.deleteKey(viewOf(product), versionKey(product));
    }
    if (machine.volumes.exists(product.homeDir)) {
        machine.volumes.remove(product.homeDir);
    }
}

void installUpdater(simulated::Machine& machine, const Updater& updater) {
    simulated::Package package;
    auto& properties = package.table(u"Property", {u"Property", u"Value"});
    if (updater.fullVersion) {
        properties.row({u"FullVersion", *updater.fullVersion});
    }
    if (updater.productVersion) {
        properties.row({u"ProductVersion", *updater.productVersion});
    }
    machine.installer.addProduct({kUpdaterCode, {{u"VersionString", u"2.8.51"}}, {}, package});
    if (updater.registryVersion) {
        machine.registry.setString(View::Bits32, u"HKLM\\SOFTWARE\\Halvorex\\Auto Update",
                                   u"AUVersion", *updater.registryVersion);
    }
    machine.volumes.addDirectory(kUpdaterFolder);
    const auto add = [&](bool wanted, const char16_t* name) {
        if (wanted) {
            machine.volumes.addFile(kUpdaterFolder + u"\\" + name, "updater");
        }
    };
    add(updater.hasTolpeck, u"tolpeck.exe");
    add(updater.hasTolmark, u"tolmark.exe");
    add(updater.hasVomlit, u"vomlit.exe");
}

}  // namespace products
