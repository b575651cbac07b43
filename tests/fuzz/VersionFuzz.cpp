// Any text as a version of either scheme, and as a product code.
#include <cstring>

#include "common/share/NorvVersion.h"
#include "fuzz/Fuzz.h"
#include "windows/common/Guid.h"
#include "windows/common/KnownProductCodeInstalledNorvTracker.h"

namespace {

using NorvVersionDetails::Base;

void checkVersion(const tstring& text) {
    Base version;
    if (!isAccepted([&] { version.init(text); })) {
        return;
    }
    require(version.sourceText() == text, "a version keeps its text");
    require(version.precision() == Base::kComponents, "a version has all components");
    const Base again(toString(version));
    require(again == version, "a printed version is the same one");
    require(toString(again) == toString(version), "it is printed in the same way");
    if (version.tag() != NorvVersionDetails::kGraphicsTag) {
        require(family(version) <= withoutBuild(version), "a family is at most its versions");
        require(withoutBuild(version) < version, "a version without its build is lower");
    }
}

void checkProductCode(const tstring& code) {
    isAccepted([&] {
        const Guid guid(code);
        require(guid.toString().size() == 38, "a printed code has 38 characters");
        require(Guid(guid.toString()) == guid, "a printed code is the same one");
    });
    tstring version;
    if (KnownProductCodeInstalledNorvTracker::match(code, version) != nullptr) {
        require(code.size() == 38, "a known product code has 38 characters");
        isAccepted(
            [&] { require(Base(version).tag() != 0, "the version of a known code has a scheme"); });
    }
}

}  // namespace

void fuzz(const std::string& input) {
    const tstring text(input.begin(), input.end());
    for (const TCHAR* front : {_T(""), _T("11"), _T("1.8.0")}) {
        checkVersion(front + text);
    }
    VersionDetails::Base<5, VersionDetails::Parser, 4> dotted;
    isAccepted([&] { dotted.init(text); });
    tstring wide(input.size() / sizeof(TCHAR), _T('\0'));
    std::memcpy(wide.data(), input.data(), wide.size() * sizeof(TCHAR));
    checkProductCode(text);
    checkProductCode(wide);
}
