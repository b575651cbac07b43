#include "windows/common/ReparsePoint.h"

#include <cstring>

#include "common/share/tstrings.h"

namespace {

constexpr const TCHAR* kKernelPrefix = _T("\\??\\");
constexpr const TCHAR* kKernelUncPrefix = _T("\\??\\UNC\\");

tstring withoutPrefix(const tstring& name) {
    for (const tstring prefix : {kKernelUncPrefix, kKernelPrefix}) {
        if (tstrings::startsWith(name, prefix)) {
            return name.substr(prefix.size());
        }
    }
    return name;
}

}  // namespace

DWORD ReparseBuffer::tag() const {
    DWORD value;
    std::memcpy(&value, bytes + kTag, sizeof(value));
    return value;
}

void ReparseBuffer::setTag(DWORD value) {
    std::memcpy(bytes + kTag, &value, sizeof(value));
}

WORD ReparseBuffer::number(Field field) const {
    WORD value;
    std::memcpy(&value, bytes + field, sizeof(value));
    return value;
}

void ReparseBuffer::setNumber(Field field, std::size_t value) {
    const auto word = static_cast<WORD>(value);
    std::memcpy(bytes + field, &word, sizeof(word));
}

std::size_t ReparseBuffer::pathBuffer() const {
    switch (tag()) {
        case IO_REPARSE_TAG_MOUNT_POINT:
            return kPathBufferOfMountPoint;
        case IO_REPARSE_TAG_SYMLINK:
            return kPathBufferOfSymlink;
        default:
            return 0;
    }
}

std::optional<tstring> ReparseBuffer::target() const {
    const std::size_t begin = pathBuffer() + number(kSubstituteNameOffset);
    tstring name(number(kSubstituteNameLength) / sizeof(TCHAR), _T('\0'));
    const std::size_t length = name.size() * sizeof(TCHAR);
    // Both numbers come from the disk: on a damaged or hostile volume they can have any value.
    if (begin + length > kSize) {
        return std::nullopt;
    }
    std::memcpy(name.data(), bytes + begin, length);
    const tstring path = withoutPrefix(name);
    return path.substr(0, path.find(_T('\0')));
}
