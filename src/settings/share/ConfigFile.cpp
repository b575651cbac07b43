#include "settings/share/ConfigFile.h"

#include <windows.h>
#include <io.h>
#include <sddl.h>
#include <stdio.h>

#include <memory>

#include "settings/share/SettingsException.h"

namespace settings_impl {

namespace {

/// Full access for the system account and the administrators, reading for everyone.
constexpr const TCHAR* kAccessRights = _T("D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;WD)");

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

struct LocalDeleter {
    void operator()(void* memory) const { LocalFree(memory); }
};

/// In text mode: a line feed becomes CR LF.
void overwrite(File file, const FileName& fileName, const std::string& text) {
    file.reset(_wfreopen(fileName.wide().c_str(), _T("w"), file.release()));
    if (!file) {
        throw settings::Exception(settings::kCannotOpen);
    }
    if (fwrite(text.data(), text.size(), 1, file.get()) != 1 || fflush(file.get()) != 0) {
        throw settings::Exception(settings::kShortWrite);
    }
}

/// A new file with the access rights, as a descriptor of the run-time library, which owns it.
int createFile(const FileName& fileName) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(kAccessRights, SDDL_REVISION_1,
                                                              &descriptor, nullptr)) {
        throw settings::Exception(settings::kCannotOpen);
    }
    const std::unique_ptr<void, LocalDeleter> owner(descriptor);
    SECURITY_ATTRIBUTES attributes = {sizeof(SECURITY_ATTRIBUTES), descriptor, FALSE};
    const HANDLE handle = CreateFileW(fileName.wide().c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                      &attributes, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        throw settings::Exception(settings::kCannotOpen);
    }
    const int file = _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), 0);
    if (file == -1) {
        CloseHandle(handle);
        throw settings::Exception(settings::kCannotOpen);
    }
    return file;
}

void writeNew(const FileName& fileName, const std::string& text) {
    const int file = createFile(fileName);
    const auto size = static_cast<unsigned int>(text.size());
    const int written = _write(file, text.data(), size);
    _close(file);
    if (written < 0 || static_cast<unsigned int>(written) != size) {
        throw settings::Exception(settings::kShortWrite);
    }
}

}  // namespace

void writeConfigFile(const FileName& fileName, const std::string& text) {
    File existing(_wfopen(fileName.wide().c_str(), _T("r")));
    if (existing) {
        overwrite(std::move(existing), fileName, text);
    } else {
        writeNew(fileName, text);
    }
}

}  // namespace settings_impl
