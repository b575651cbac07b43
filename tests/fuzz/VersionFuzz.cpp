// Any text as a version of either scheme.
#include <cstdint>
#include <stdexcept>

#include "common/share/NorvVersion.h"
#include "fuzz/Require.h"

namespace {

void checkVersion(const tstring& text) {
    using NorvVersionDetails::Base;
    Base version;
    try {
        version.init(text);
    } catch (const std::runtime_error&) {
        require(version.sourceText().empty());
        return;
    }
    require(version.sourceText() == text);
    require(version.precision() == Base::kComponents);
    // What is printed is the same version.
    const Base again(toString(version));
    require(again == version);
    require(toString(again) == toString(version));
    if (version.tag() != NorvVersionDetails::kGraphicsTag) {
        require(family(version) <= withoutBuild(version));
        require(withoutBuild(version) < version);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const tstring text(data, data + size);
    checkVersion(text);
    checkVersion(_T("11") + text);
    checkVersion(_T("1.8.0") + text);
    VersionDetails::Base<5, VersionDetails::Parser, 4> dotted;
    try {
        dotted.init(text);
    } catch (const std::runtime_error&) {
    }
    return 0;
}
