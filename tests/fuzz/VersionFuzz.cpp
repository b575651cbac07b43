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
    if (!takes([&] { version.init(text); })) {
        return;
    }
    require(version.sourceText() == text && version.precision() == Base::kComponents);
    // What is printed is the same version.
    const Base again(toString(version));
    require(again == version && toString(again) == toString(version));
    if (version.tag() != NorvVersionDetails::kGraphicsTag) {
        require(family(version) <= withoutBuild(version) && withoutBuild(version) < version);
    }
}

void checkProductCode(const tstring& code) {
    takes([&] {
        const Guid guid(code);
        require(guid.toString().size() == 38 && Guid(guid.toString()) == guid);
    });
    tstring version;
    if (KnownProductCodeInstalledNorvTracker::match(code, version) != nullptr) {
        require(code.size() == 38);
        takes([&] { require(Base(version).tag() != 0); });
    }
}

}  // namespace

void fuzz(const std::string& input) {
    const tstring text(input.begin(), input.end());
    for (const TCHAR* front : {_T(""), _T("11"), _T("1.8.0")}) {
        checkVersion(front + text);
    }
    VersionDetails::Base<5, VersionDetails::Parser, 4> dotted;
    takes([&] { dotted.init(text); });
    tstring wide(input.size() / sizeof(TCHAR), _T('\0'));
    std::memcpy(wide.data(), input.data(), wide.size() * sizeof(TCHAR));
    checkProductCode(text);
    checkProductCode(wide);
}
