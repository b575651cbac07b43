// Any bytes as the reparse buffer of a directory: where the link leads is read, or refused, within
// the buffer.
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

#include "fuzz/NoLog.h"
#include "fuzz/Require.h"
#include "simulated/machine/Machine.h"
#include "windows/common/FileUtils.h"
#include "windows/common/ReparsePoint.h"

namespace {

constexpr std::size_t kLongestName = 0xFFFF / sizeof(TCHAR);

/// On the heap and by itself, so that a read outside its bytes is seen.
void readBuffer(const std::uint8_t* data, std::size_t size) {
    const auto buffer = std::make_unique<ReparseBuffer>();
    std::memcpy(buffer->bytes, data, size);
    if (buffer->pathBuffer() == 0) {
        return;
    }
    const std::optional<tstring> target = buffer->target();
    if (target) {
        require(target->size() <= kLongestName);
        require(target->find(_T('\0')) == tstring::npos);
    }
}

void readLink(const std::uint8_t* data, std::size_t size) {
    static simulated::Machine machine;
    static const bool isMade = [] {
        NoLog::install();
        machine.volumes.addDirectory(u"C:\\link");
        return true;
    }();
    const simulated::Running running(machine);
    require(isMade);
    machine.volumes.setReparsePoint(u"C:\\link",
                                    std::string(reinterpret_cast<const char*>(data), size));
    try {
        FileUtils::getLinkTarget(_T("C:\\link"));
    } catch (const std::runtime_error&) {
        // refused
    }
    require(machine.handles.open().empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size <= ReparseBuffer::kSize) {
        readBuffer(data, size);
        readLink(data, size);
    }
    return 0;
}
