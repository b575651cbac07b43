#include "settings/share/ConfigFile.h"

#include <windows.h>
#include <io.h>
#include <sddl.h>
#include <stdio.h>

#include <memory>

#include "settings/share/Bytes.h"
#include "settings/share/ExceptionCode.h"

namespace settings_impl {

namespace {

/// A file of this size or more is refused with kFileTooLong.
constexpr std::size_t kFileLimit = 0x100000;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// Full access for the system account and the administrators, read access for everyone.
constexpr const TCHAR* kAccessRights = _T("D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;WD)");

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

/// In text mode: a line feed is written as CR LF.
void overwrite(File file, const FileName& fileName, const std::string& text) {
    file.reset(_wfreopen(fileName.wide().c_str(), _T("w"), file.release()));
    if (!file) {
        fail(settings::kCannotOpen);
    }
    if (fwrite(text.data(), text.size(), 1, file.get()) != 1 || fflush(file.get()) != 0) {
        fail(settings::kShortWrite);
    }
}

/// Creates a file with these access rights and returns a descriptor of the run-time library, which
/// owns the handle.
int createFile(const FileName& fileName) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(kAccessRights, SDDL_REVISION_1,
                                                              &descriptor, nullptr)) {
        fail(settings::kCannotOpen);
    }
    SECURITY_ATTRIBUTES attributes = {sizeof(SECURITY_ATTRIBUTES), descriptor, FALSE};
    const HANDLE handle = CreateFileW(fileName.wide().c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                      &attributes, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    LocalFree(descriptor);
    if (handle == INVALID_HANDLE_VALUE) {
        fail(settings::kCannotOpen);
    }
    const int file = _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), 0);
    if (file == -1) {
        CloseHandle(handle);
        fail(settings::kCannotOpen);
    }
    return file;
}

void writeNew(const FileName& fileName, const std::string& text) {
    const int file = createFile(fileName);
    const auto size = static_cast<unsigned int>(text.size());
    const int written = _write(file, text.data(), size);
    _close(file);
    if (written < 0 || static_cast<unsigned int>(written) != size) {
        fail(settings::kShortWrite);
    }
}

}  // namespace

std::string readConfigFile(const FileName& fileName) {
    const File file(_wfopen(fileName.wide().c_str(), _T("rb")));
    if (!file) {
        fail(settings::kCannotOpen);
    }
    const auto buffer = std::make_unique_for_overwrite<char[]>(kFileLimit + 1);
    const std::size_t size = fread(buffer.get(), 1, kFileLimit, file.get());
    if (ferror(file.get())) {
        fail(settings::kReadError);
    }
    if (!feof(file.get())) {
        fail(settings::kFileTooLong);
    }
    std::string_view content(buffer.get(), size);
    if (content.starts_with(kByteOrderMark)) {
        content.remove_prefix(kByteOrderMark.size());
    }
    if (!isUtf8(content)) {
        fail(settings::kTextNotUtf8);
    }
    return std::string(content);
}

void writeConfigFile(const FileName& fileName, const std::string& text) {
    File existing(_wfopen(fileName.wide().c_str(), _T("r")));
    if (existing) {
        overwrite(std::move(existing), fileName, text);
    } else {
        writeNew(fileName, text);
    }
}

}  // namespace settings_impl
