#include "settings/share/FileName.h"

#include <direct.h>
#include <errno.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

#include "settings/share/Bytes.h"
#include "settings/share/ExceptionCode.h"

namespace settings_impl {

namespace {

constexpr std::size_t kPathLimit = 260;
constexpr std::string_view kSeparators = "\\/";

/// Device names, which Windows reserves in every directory. See "Naming Files, Paths, and
/// Namespaces" in Microsoft's documentation.
constexpr std::array<std::string_view, 22> kReservedNames = {
    "CON",  "PRN",  "AUX",  "NUL",  "COM1", "COM2", "COM3", "COM4", "COM5", "COM6", "COM7",
    "COM8", "COM9", "LPT1", "LPT2", "LPT3", "LPT4", "LPT5", "LPT6", "LPT7", "LPT8", "LPT9"};

constexpr std::string_view kIllegalCharacters = "<>:\"|?*/\\";

bool isReserved(const std::string& piece) {
    return std::find(kReservedNames.begin(), kReservedNames.end(), piece) != kReservedNames.end();
}

bool isIllegal(char byte) {
    return static_cast<unsigned char>(byte) < 32 ||
           kIllegalCharacters.find(byte) != std::string_view::npos;
}

bool isDrive(const std::string& piece) {
    const auto isLetter = [](char byte) {
        return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
    };
    return piece.size() == 2 && piece[1] == ':' && isLetter(piece[0]);
}

/// Splits a path at its separators; a trailing separator adds no empty component.
std::vector<std::string> cut(const std::string& text) {
    std::vector<std::string> pieces;
    std::size_t begin = 0;
    while (begin < text.size()) {
        const std::size_t end = std::min(text.find_first_of(kSeparators, begin), text.size());
        pieces.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return pieces;
}

std::string join(const std::vector<std::string>& pieces) {
    std::string text = pieces.front();
    for (auto piece = pieces.begin() + 1; piece != pieces.end(); ++piece) {
        text += '/';
        text += *piece;
    }
    return text;
}

/// Converts a string by a Windows function: `call` receives a buffer and its size, both 0 to query
/// the size needed.
template <class Result, class Source, class Call>
Result convert(const Source& text, Call call) {
    Result result;
    const int needed = text.empty() ? 0 : call(nullptr, 0);
    result.resize(static_cast<std::size_t>(std::max(needed, 0)));
    if (!text.empty() && (needed <= 0 || call(result.data(), needed) != needed)) {
        fail(settings::kFailure);
    }
    return result;
}

/// Returns the components of the path, prefixed with those of the current directory if it is
/// relative.
std::vector<std::string> fromCurrentDirectory(const std::string& path) {
    TCHAR buffer[kPathLimit];
    std::vector<std::string> pieces;
    if (!_wgetcwd(buffer, static_cast<int>(kPathLimit)) ||
        !splitPath(toUtf8(buffer) + '/' + path, pieces)) {
        fail(settings::kFailure);
    }
    return pieces;
}

/// Resolves each ".." by removing the component before it.
std::vector<std::string> resolveParents(const std::vector<std::string>& pieces) {
    std::vector<std::string> resolved;
    for (const std::string& piece : pieces) {
        if (piece != "..") {
            resolved.push_back(piece);
        } else if (resolved.empty()) {
            fail(settings::kPathRefused);
        } else {
            resolved.pop_back();
        }
    }
    return resolved;
}

}  // namespace

WideText toWide(const std::string& text) {
    return convert<WideText>(text, [&text](TCHAR* buffer, int size) {
        return MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                                   static_cast<int>(text.size()), buffer, size);
    });
}

std::string toUtf8(const WideText& text) {
    return convert<std::string>(text, [&text](char* buffer, int size) {
        return WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), buffer,
                                   size, nullptr, nullptr);
    });
}

const std::string& checkPath(const std::string& text) {
    if (text.empty()) {
        return text;
    }
    if (!isUtf8(text)) {
        fail(settings::kPathNotUtf8);
    }
    if (text.size() >= kPathLimit) {
        fail(settings::kPathTooLong);
    }
    std::vector<std::string> pieces;
    const bool hasDrive = splitPath(text, pieces);
    for (auto piece = pieces.begin() + (hasDrive ? 1 : 0); piece != pieces.end(); ++piece) {
        if (isReserved(*piece) || std::any_of(piece->begin(), piece->end(), isIllegal)) {
            fail(settings::kPathRefused);
        }
    }
    return text;
}

bool splitPath(const std::string& text, std::vector<std::string>& components) {
    components = cut(text);
    if (components.empty()) {
        fail(settings::kPathRefused);
    }
    const bool hasDrive = isDrive(components.front());
    std::erase_if(components,
                  [](const std::string& piece) { return piece.empty() || piece == "."; });
    return hasDrive;
}

FileName canonicalize(const FileName& fileName) {
    if (fileName.isCanonical()) {
        return fileName;
    }
    std::vector<std::string> pieces;
    if (!splitPath(fileName.text(), pieces)) {
        pieces = fromCurrentDirectory(fileName.text());
    }
    pieces = resolveParents(pieces);
    if (pieces.empty()) {
        fail(settings::kPathRefused);
    }
    return FileName(checkPath(join(pieces)), true);
}

void createParentDirectories(const FileName& fileName) {
    if (!fileName.isCanonical()) {
        throw std::logic_error("canonicalized file name expected");
    }
    std::vector<std::string> pieces;
    splitPath(fileName.text(), pieces);
    pieces.pop_back();
    if (pieces.empty()) {
        return;
    }
    // The drive itself can't be created.
    std::string folder = pieces.front();
    for (auto piece = pieces.begin() + 1; piece != pieces.end(); ++piece) {
        folder += '/';
        folder += *piece;
        const WideText wide = toWide(checkPath(folder));
        struct _stat64 facts;
        if (_wstat64(wide.c_str(), &facts) != 0 && _wmkdir(wide.c_str()) != 0 && errno != EEXIST) {
            fail(settings::kPathRefused);
        }
    }
}

}  // namespace settings_impl
