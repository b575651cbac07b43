#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#include <sys/types.h>

#include "common/share/BaseName.h"
#include "common/share/Logger.h"
#include "common/share/ProcessPaths.h"
#include "common/share/tstrings.h"

namespace {

constexpr const TCHAR* kDefaultName = _T("tolmark.log");
constexpr std::int64_t kSizeLimit = 10485760;
constexpr int kOpenTries = 10;

/// Opens the log for appending in text mode, which writes a line feed as CR LF, and denies other
/// writers. Retries for a while when another process has the file open. Returns -1 when the last
/// try fails.
int openLog(const tstring& path) {
    for (int i = 0; i < kOpenTries; ++i) {
        int file = -1;
        if (_wsopen_s(&file, path.c_str(), _O_WRONLY | _O_APPEND | _O_CREAT, _SH_DENYWR,
                      _S_IREAD | _S_IWRITE) == 0) {
            return file;
        }
        if (i + 1 < kOpenTries) {
            Sleep(1);
        }
    }
    return -1;
}

}  // namespace

FileLogAppender::FileLogAppender(const tstring& fileName)
    : path_(temporaryDirectory() + _T("\\")), sizeLimit_(kSizeLimit) {
    path_ += fileName.empty() ? kDefaultName : baseName(fileName);
}

void FileLogAppender::append(const LogEvent& event) {
    const SYSTEMTIME& time = event.timestamp;
    std::string text;
    try {
        text = tstrings::toUtf8(tstrings::unsafe_format(
            _T("[%04u/%02u/%02u %02u:%02u:%02u.%03u, %s (PID: %u, TID: %u), %s:%u (%s)]\n\t%s: ")
            _T("%s\n"),
            time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond,
            time.wMilliseconds, event.processName.c_str(), event.processId, event.threadId,
            event.file.c_str(), event.line, event.function.c_str(), event.levelName.c_str(),
            event.message.c_str()));
    } catch (...) {
        return;  // the record is lost, as it is when the file can't be opened
    }
    const int file = openLog(path_);
    if (file == -1) {
        return;
    }
    struct _stati64 facts = {};
    if (_fstati64(file, &facts) == 0 && facts.st_size >= sizeLimit_) {
        _chsize_s(file, 0);
    }
    _write(file, text.data(), static_cast<unsigned int>(text.size()));
    _close(file);
}
