// Paths of configuration files: in UTF-8, with either separator.
#pragma once

#include <windows.h>
#include <tchar.h>

#include <string>
#include <vector>

namespace settings_impl {

using WideText = std::basic_string<TCHAR>;

/// Convert UTF-8 to UTF-16 and back. Throw settings::Exception with status 200 for an invalid
/// string.
WideText toWide(const std::string& text);
std::string toUtf8(const WideText& text);

/// A path in UTF-8 and UTF-16. A canonical one is absolute and has no ".", ".." or backslash.
class FileName {
public:
    /// Throws settings::Exception with status 200 if the string can't be converted to UTF-16.
    explicit FileName(const std::string& text, bool canonical = false)
        : text_(text), wide_(toWide(text)), canonical_(canonical) {}

    const std::string& text() const { return text_; }
    const WideText& wide() const { return wide_; }
    bool isCanonical() const { return canonical_; }

private:
    std::string text_;
    WideText wide_;
    bool canonical_;
};

/// Returns `text` if it may be a path. Throws settings::Exception: 312 if it is not valid UTF-8,
/// 310 if it has 260 bytes or more, 311 if a component is a device name or contains an illegal
/// character. The empty string is accepted.
const std::string& checkPath(const std::string& text);

/// Splits a path at its separators, without empty components and ".". Returns whether the first
/// component is a drive ("C:"). Throws settings::Exception with status 311 for an empty path.
bool splitPath(const std::string& text, std::vector<std::string>& components);

/// Makes a relative path absolute by the current directory and resolves "..". Throws
/// settings::Exception: 311 if the path leads above its root or has no component left, the statuses
/// of checkPath for the result, 200 if the current directory is unknown.
FileName canonicalize(const FileName& fileName);

/// Creates the directories above a file. Throws std::logic_error if the name is not canonical,
/// settings::Exception with status 311 if a directory can't be created.
void createParentDirectories(const FileName& fileName);

}  // namespace settings_impl
