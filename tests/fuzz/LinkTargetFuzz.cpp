// Any bytes as the reparse buffer of a directory: the link's target is read, or refused, within the
// buffer.
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
    if (target) {
        require(target->size() <= 0xFFFF / sizeof(TCHAR), "a target has the length of a header");
        require(target->find(_T('\0')) == tstring::npos, "a target has no NUL");
    }

    machine().volumes.addDirectory(u"C:\\link");
    machine().volumes.setReparsePoint(u"C:\\link", input);
    isAccepted([&] {
        require(FileUtils::getLinkTarget(_T("C:\\link")) == target,
                "the target of a directory is that of its buffer");
    });
    require(machine().handles.open().empty(), "no handle stays open");
}
