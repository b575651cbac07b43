#include "simulated/machine/files/CrtFiles.h"

#include <windows.h>

#include <cerrno>

#include "simulated/machine/Machine.h"

namespace simulated {

int CrtFiles::add(CrtFile file) {
    const int number = next_++;
    open_.emplace(number, file);
    return number;
}

CrtFile* CrtFiles::find(int file) {
    const auto found = open_.find(file);
    return found == open_.end() ? nullptr : &found->second;
}

bool CrtFiles::close(int file) {
    const auto found = open_.find(file);
    if (found == open_.end()) {
        return false;
    }
    const HANDLE handle = found->second.handle;
    open_.erase(found);
    return Machine::current().handles.close(handle);
}

int errnoOf(DWORD status) {
    static const std::map<DWORD, int> kNumbers = {
        {ERROR_SUCCESS, 0},
        {ERROR_INVALID_HANDLE, EBADF},
        {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},
        {ERROR_DISK_FULL, ENOSPC},
        {ERROR_DIR_NOT_EMPTY, ENOTEMPTY},
        {ERROR_INSUFFICIENT_BUFFER, ERANGE},
        {ERROR_FILE_EXISTS, EEXIST},
        {ERROR_ALREADY_EXISTS, EEXIST},
        {ERROR_FILE_NOT_FOUND, ENOENT},
        {ERROR_PATH_NOT_FOUND, ENOENT},
        {ERROR_BAD_NETPATH, ENOENT},
        {ERROR_INVALID_NAME, ENOENT},
        {ERROR_BAD_PATHNAME, ENOENT},
        {ERROR_FILENAME_EXCED_RANGE, ENOENT},
        {ERROR_ACCESS_DENIED, EACCES},
        {ERROR_SHARING_VIOLATION, EACCES},
        {ERROR_WRITE_PROTECT, EACCES},
        {ERROR_WRITE_FAULT, EACCES},
        {ERROR_READ_FAULT, EACCES},
    };
    const auto found = kNumbers.find(status);
    return found == kNumbers.end() ? EINVAL : found->second;
}

}  // namespace simulated
