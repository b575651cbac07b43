// The texts that a configuration is read from.
#include <stdio.h>

#include <memory>

#include "settings/share/Bytes.h"
#include "settings/share/PlainTextFileConfigParser.h"

namespace settings_impl {

namespace {

/// The most that is read of a file; one of this length is too long.
constexpr std::size_t kFileLimit = 0x100000;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};

}  // namespace

void FileBuffer::read(std::string& text) {
    const std::unique_ptr<FILE, FileCloser> file(_wfopen(fileName_.wide().c_str(), _T("rb")));
    if (!file) {
        throw settings::Exception(settings::kCannotOpen);
    }
    const auto buffer = std::make_unique_for_overwrite<char[]>(kFileLimit + 1);
    const std::size_t size = fread(buffer.get(), 1, kFileLimit, file.get());
    if (ferror(file.get())) {
        throw settings::Exception(settings::kReadError);
    }
    if (!feof(file.get())) {
        throw settings::Exception(settings::kFileTooLong);
    }
    std::string_view content(buffer.get(), size);
    if (content.starts_with(kByteOrderMark)) {
        content.remove_prefix(kByteOrderMark.size());
    }
    if (!isUtf8(content)) {
        throw settings::Exception(settings::kTextNotUtf8);
    }
    text = content;
}

void StringBuffer::read(std::string& text) {
    if (!isUtf8(text_)) {
        throw settings::Exception(settings::kTextNotUtf8);
    }
    text = text_;
}

}  // namespace settings_impl
