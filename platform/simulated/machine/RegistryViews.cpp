#include "simulated/machine/RegistryViews.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "simulated/machine/Names.h"

namespace simulated {

namespace {

constexpr std::u16string_view kNode = u"Wow6432Node";

/// Below HKLM\Software.
constexpr std::array<std::u16string_view, 41> kSharedKeys = {
    u"Classes",
    u"Clients",
    u"Microsoft\\COM3",
    u"Microsoft\\Cryptography\\Calais\\Current",
    u"Microsoft\\Cryptography\\Calais\\Readers",
    u"Microsoft\\Cryptography\\Services",
    u"Microsoft\\CTF\\SystemShared",
    u"Microsoft\\CTF\\TIP",
    u"Microsoft\\DFS",
    u"Microsoft\\Driver Signing",
    u"Microsoft\\EnterpriseCertificates",
    u"Microsoft\\EventSystem",
    u"Microsoft\\MSMQ",
    u"Microsoft\\Non-Driver Signing",
    u"Microsoft\\Notepad\\DefaultFonts",
    u"Microsoft\\OLE",
    u"Microsoft\\RAS",
    u"Microsoft\\RPC",
    u"Microsoft\\Shared Tools\\MSInfo",
    u"Microsoft\\SystemCertificates",
    u"Microsoft\\TermServLicensing",
    u"Microsoft\\Transaction Server",
    u"Microsoft\\Windows\\CurrentVersion\\Control Panel\\Cursors\\Schemes",
    u"Microsoft\\Windows\\CurrentVersion\\Explorer\\AutoplayHandlers",
    u"Microsoft\\Windows\\CurrentVersion\\Explorer\\DriveIcons",
    u"Microsoft\\Windows\\CurrentVersion\\Explorer\\KindMap",
    u"Microsoft\\Windows\\CurrentVersion\\Group Policy",
    u"Microsoft\\Windows\\CurrentVersion\\Policies",
    u"Microsoft\\Windows\\CurrentVersion\\PreviewHandlers",
    u"Microsoft\\Windows\\CurrentVersion\\Setup",
    u"Microsoft\\Windows\\CurrentVersion\\Telephony\\Locations",
    u"Microsoft\\Windows NT\\CurrentVersion\\Console",
    u"Microsoft\\Windows NT\\CurrentVersion\\FontLink",
    u"Microsoft\\Windows NT\\CurrentVersion\\Fonts",
    u"Microsoft\\Windows NT\\CurrentVersion\\FontSubstitutes",
    u"Microsoft\\Windows NT\\CurrentVersion\\Image File Execution Options",
    u"Microsoft\\Windows NT\\CurrentVersion\\Print",
    u"Microsoft\\Windows NT\\CurrentVersion\\ProfileList",
    u"Microsoft\\Windows NT\\CurrentVersion\\Time Zones",
    u"Policies",
    u"RegisteredApplications",
};

/// Below Software\Classes, of the machine and of the user.
constexpr std::array<std::u16string_view, 5> kRedirectedClasses = {
    u"CLSID", u"DirectShow", u"Interface", u"Media Type", u"MediaFoundation"};

bool nameAt(const KeyPath& path, std::size_t index, std::u16string_view name) {
    return index < path.size() && sameText(path[index], name);
}

bool isBelowMachineSoftware(const KeyPath& path) {
    return nameAt(path, 0, u"HKLM") && nameAt(path, 1, u"Software");
}

bool isBelowClasses(const KeyPath& path) {
    return (nameAt(path, 0, u"HKLM") || nameAt(path, 0, u"HKCU")) && nameAt(path, 1, u"Software") &&
           nameAt(path, 2, u"Classes");
}

bool isRedirectedClass(const KeyPath& path, std::size_t index) {
    return index < path.size() &&
           std::any_of(kRedirectedClasses.begin(), kRedirectedClasses.end(),
                       [&](std::u16string_view name) { return sameText(path[index], name); });
}

const std::vector<KeyPath>& sharedKeys() {
    // Never destroyed: a library may still call the machine as the program ends.
    static const std::vector<KeyPath>& keys = *[] {
        auto* const made = new std::vector<KeyPath>;
        for (const std::u16string_view key : kSharedKeys) {
            made->push_back(components(key));
        }
        return made;
    }();
    return keys;
}

bool isShared(const KeyPath& path) {
    return std::any_of(sharedKeys().begin(), sharedKeys().end(), [&](const KeyPath& shared) {
        return path.size() >= shared.size() + 2 &&
               std::equal(shared.begin(), shared.end(), path.begin() + 2,
                          [](const auto& a, const auto& b) { return sameText(a, b); });
    });
}

bool isNodeOfSoftware(const KeyPath& path) {
    return isBelowMachineSoftware(path) && nameAt(path, 2, kNode);
}

bool isNodeOfClasses(const KeyPath& path) {
    return isBelowClasses(path) && nameAt(path, 3, kNode) && isRedirectedClass(path, 4);
}

void insertNode(KeyPath& path, std::size_t index) {
    path.insert(path.begin() + static_cast<std::ptrdiff_t>(index), std::u16string(kNode));
}

}  // namespace

KeyPath pathIn32BitView(const KeyPath& path) {
    KeyPath result = path;
    while (isNodeOfSoftware(result)) {
        result.erase(result.begin() + 2);
    }
    while (isNodeOfClasses(result)) {
        result.erase(result.begin() + 3);
    }
    if (isBelowClasses(result)) {
        if (isRedirectedClass(result, 3)) {
            insertNode(result, 3);
        }
    } else if (isBelowMachineSoftware(result) && !isShared(result)) {
        insertNode(result, 2);
    }
    return result;
}

bool leadsInto32BitView(const KeyPath& path) {
    return isNodeOfSoftware(path) || isNodeOfClasses(path);
}

}  // namespace simulated
