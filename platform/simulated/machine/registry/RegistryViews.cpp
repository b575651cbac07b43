#include "simulated/machine/registry/RegistryViews.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "simulated/machine/Names.h"

namespace simulated {

namespace {

constexpr std::u16string_view kNode = u"Wow6432Node";

/// Below HKLM\Software: those of the shared keys that the library or a test uses.
constexpr std::array<std::u16string_view, 4> kSharedKeys = {u"Classes", u"Clients", u"Policies",
                                                            u"RegisteredApplications"};

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
    return std::any_of(kRedirectedClasses.begin(), kRedirectedClasses.end(),
                       [&](std::u16string_view name) { return nameAt(path, index, name); });
}

bool isShared(const KeyPath& path) {
    return std::any_of(kSharedKeys.begin(), kSharedKeys.end(),
                       [&](std::u16string_view name) { return nameAt(path, 2, name); });
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
    // A second node in a row is an ordinary name: the 32-bit view has no node of its own.
    if (isNodeOfSoftware(result)) {
        result.erase(result.begin() + 2);
    }
    if (isNodeOfClasses(result)) {
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
