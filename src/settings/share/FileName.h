// Paths of configuration files. They are UTF-8 and may be written with either separator.
#pragma once

#include <windows.h>
#include <tchar.h>

#include <string>
#include <vector>

namespace settings_impl {

using WideText = std::basic_string<TCHAR>;

/// UTF-8 to UTF-16 and back. A text that is not well-formed throws settings::Exception with status
/// 200.
WideText toWide(const std::string& text);
std::string toUtf8(const WideText& text);

/// A path in both forms. A canonical one is absolute, has no "." and ".." and no backslash.
class FileName {
public:
    /// Throws settings::Exception with status 200 if the text has no wide form.
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

/// The text, if it may be a path. Throws settings::Exception: 312 if it is no UTF-8, 310 if it has
/// 260 bytes or more, 311 if a piece is the name of a device or holds an illegal character. The
/// empty text passes.
const std::string& checkPath(const std::string& text);

/// Cuts a path at its separators and drops empty pieces and ".". Returns whether the first piece is
/// a drive ("C:"). Throws settings::Exception with status 311 for the empty text.
bool splitPath(const std::string& text, std::vector<std::string>& components);

/// Takes a relative path from the current directory and resolves "..". Throws settings::Exception:
/// 311 if the path leads above its root or to nothing, what checkPath throws of the result, 200 if
/// the current directory can't be told.
FileName canonicalize(const FileName& fileName);

/// Makes the folders that a file stands in. Throws std::logic_error if the name is not canonical,
/// settings::Exception with status 311 if a folder can't be made.
void createParentDirectories(const FileName& fileName);

}  // namespace settings_impl
