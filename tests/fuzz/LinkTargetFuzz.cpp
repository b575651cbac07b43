// Any bytes as the reparse buffer of a directory: where the link leads is read, or refused, within
// the buffer.
#include <cstring>
#include <memory>

#include "fuzz/Fuzz.h"
#include "windows/common/FileUtils.h"
#include "windows/common/ReparsePoint.h"

void fuzz(const std::string& input) {
    if (input.size() > ReparseBuffer::kSize) {
        return;
    }
    // On the heap and by itself, so that a read outside its bytes is seen.
    const auto buffer = std::make_unique<ReparseBuffer>();
    std::memcpy(buffer->bytes, input.data(), input.size());
    const std::optional<tstring> target =
        buffer->pathBuffer() == 0 ? std::nullopt : buffer->target();
    require(!target ||
            (target->size() <= 0xFFFF / sizeof(TCHAR) && target->find(_T('\0')) == tstring::npos));

    machine().volumes.addDirectory(u"C:\\link");
    machine().volumes.setReparsePoint(u"C:\\link", input);
    takes([&] { require(FileUtils::getLinkTarget(_T("C:\\link")) == target); });
    require(machine().handles.open().empty());
}
