#include "windows/common/Paths.h"

#include <algorithm>

namespace FileUtils {

namespace {

constexpr const TCHAR* kSeparators = _T("\\/");
constexpr const TCHAR* kIllegalInPath = _T("<>\"|?*");
constexpr const TCHAR* kIllegalInFileName = _T("<>\"|?*:/\\");

bool isSeparator(TCHAR c) {
    return c == _T('\\') || c == _T('/');
}

}  // namespace

tstring dirname(const tstring& path) {
    const auto separator = path.find_last_of(kSeparators);
    return separator == tstring::npos ? tstring() : removeTrailingSlash(path.substr(0, separator));
}

tstring basename(const tstring& path) {
    const auto separator = path.find_last_of(kSeparators);
    return separator == tstring::npos ? path : path.substr(separator + 1);
}

tstring suffix(const tstring& path) {
    const auto dot = path.find_last_of(_T('.'));
    if (dot == tstring::npos || path.find_first_of(kSeparators, dot) != tstring::npos) {
        return tstring();
    }
    const bool twoDots = dot > 0 && path[dot - 1] == _T('.');
    if (twoDots && (dot == 1 || isSeparator(path[dot - 2]))) {
        return tstring();
    }
    return path.substr(dot);
}

tstring replaceSuffix(const tstring& path, const tstring& newSuffix) {
    return path.substr(0, path.size() - suffix(path).size()) + newSuffix;
}

tstring removeTrailingSlash(const tstring& path) {
    return path.substr(0, path.find_last_not_of(kSeparators) + 1);
}

tstring combinePath(const tstring& a, const tstring& b) {
    if (a.empty()) {
        return b;
    }
    if (b.empty()) {
        return a;
    }
    return removeTrailingSlash(a) + _T("\\") + b.substr(isSeparator(b.front()) ? 1 : 0);
}

bool hasIllegalPathCharacter(const tstring& path) {
    return path.find_first_of(kIllegalInPath) != tstring::npos;
}

bool hasIllegalFileNameCharacter(const tstring& name) {
    return name.find_first_of(kIllegalInFileName) != tstring::npos ||
           std::any_of(name.begin(), name.end(), [](TCHAR c) { return c < 32; });
}

}  // namespace FileUtils
