#include "simulated/machine/files/FilePath.h"

#include <windows.h>

#include <algorithm>
#include <iterator>

#include "simulated/machine/Names.h"

namespace simulated {

namespace {

constexpr std::size_t kMaxNameUnits = 255;

bool isDrive(std::u16string_view text) {
    return text.size() >= 2 && text[1] == u':' &&
           ((text[0] >= u'A' && text[0] <= u'Z') || (text[0] >= u'a' && text[0] <= u'z'));
}

/// The length of "\\server\share" at the start of a text; 0 if it isn't there whole.
std::size_t shareLength(std::u16string_view text) {
    if (!text.starts_with(u"\\\\")) {
        return 0;
    }
    const std::size_t server = text.find(u'\\', 2);
    if (server == std::u16string_view::npos || server == 2 || server + 1 == text.size()) {
        return 0;
    }
    return std::min(text.find(u'\\', server + 1), text.size());
}

/// The length of the volume's name at the start of an absolute text.
std::size_t volumeLength(std::u16string_view text) {
    return isDrive(text) ? 2 : shareLength(text);
}

void trimEnd(std::u16string& name) {
    name.erase(name.find_last_not_of(u". ") + 1);
}

bool isDeviceName(std::u16string_view name) {
    const std::u16string_view whole = name.substr(0, name.find_first_of(u".:"));
    const std::u16string_view base = whole.substr(0, whole.find_last_not_of(u' ') + 1);
    for (const std::u16string_view device : {u"CON", u"PRN", u"AUX", u"NUL"}) {
        if (sameText(base, device)) {
            return true;
        }
    }
    return base.size() == 4 && base[3] >= u'1' && base[3] <= u'9' &&
           (sameText(base.substr(0, 3), u"COM") || sameText(base.substr(0, 3), u"LPT"));
}

bool isLegalName(std::u16string_view name) {
    constexpr std::u16string_view kIllegal = u"<>:\"/|*?";
    return name.size() <= kMaxNameUnits && std::all_of(name.begin(), name.end(), [&](char16_t c) {
               return c >= 32 && kIllegal.find(c) == std::u16string_view::npos;
           });
}

/// The rest of a path that began with "\\?\": nothing in it is worked on.
FilePath parseLiteral(std::u16string_view rest) {
    FilePath path;
    path.isLiteral = true;
    std::u16string text(rest);
    if (text.size() > 4 && sameText(text.substr(0, 4), u"UNC\\")) {
        text = u"\\" + text.substr(3);
    }
    const std::size_t volume = volumeLength(text);
    if (volume == 0) {
        path.status = ERROR_PATH_NOT_FOUND;
        return path;
    }
    path.volume = text.substr(0, volume);
    path.length = rest.size() + 4;
    std::u16string_view names = std::u16string_view(text).substr(volume);
    path.endsInSeparator = names.size() > 1 && names.ends_with(u'\\');
    const bool beginsAtRoot = names.empty() || names[0] == u'\\';
    if (!names.empty()) {
        names.remove_prefix(1);
    }
    if (path.endsInSeparator) {
        names.remove_suffix(1);
    }
    path.names = components(names);
    const bool hasGaps = names.find(u"\\\\") != std::u16string_view::npos;
    const bool hasDots =
        std::any_of(path.names.begin(), path.names.end(),
                    [](const std::u16string& name) { return name == u"." || name == u".."; });
    path.status = !beginsAtRoot || hasGaps || hasDots ? ERROR_INVALID_NAME : ERROR_SUCCESS;
    return path;
}

}  // namespace

std::u16string FilePath::text() const {
    std::u16string result = volume;
    for (const std::u16string& name : names) {
        result += u'\\';
        result += name;
    }
    return names.empty() && isDrive(volume) ? result + u'\\' : result;
}

std::u16string fullPath(std::u16string_view path, std::u16string_view currentDirectory) {
    if (path.empty()) {
        return {};
    }
    std::u16string text(path);
    std::replace(text.begin(), text.end(), u'/', u'\\');
    if (text.starts_with(u"\\\\?\\") || text.starts_with(u"\\\\.\\")) {
        return std::u16string(path);
    }
    const std::u16string current(currentDirectory);
    if (isDrive(text) && (text.size() == 2 || text[2] != u'\\')) {
        const bool isCurrent = sameText(text.substr(0, 2), current.substr(0, 2));
        text = (isCurrent ? current : text.substr(0, 2)) + u"\\" + text.substr(2);
    } else if (text.starts_with(u'\\') && !text.starts_with(u"\\\\")) {
        text = current.substr(0, volumeLength(current)) + text;
    } else if (!isDrive(text) && !text.starts_with(u'\\')) {
        text = current + u"\\" + text;
    }
    const std::size_t volume = volumeLength(text);
    if (volume == 0) {
        return text;  // "\\server"
    }
    std::vector<std::u16string> names = components(text.substr(volume));
    const bool endsInSeparator = text.size() > volume && text.ends_with(u'\\');
    std::vector<std::u16string> kept;
    for (std::size_t i = 0; i < names.size(); ++i) {
        std::u16string& name = names[i];
        if (name == u"..") {
            if (!kept.empty()) {
                kept.pop_back();
            }
            continue;
        }
        if (i + 1 == names.size() && !endsInSeparator) {
            trimEnd(name);
        } else if (name.ends_with(u'.')) {
            name.pop_back();
        }
        if (!name.empty()) {
            kept.push_back(std::move(name));
        }
    }
    std::u16string result = text.substr(0, volume);
    for (const std::u16string& name : kept) {
        result += u'\\';
        result += name;
    }
    if (endsInSeparator || (kept.empty() && isDrive(result))) {
        result += u'\\';
    }
    return result;
}

FilePath parsePath(std::u16string_view text, std::u16string_view currentDirectory) {
    FilePath path;
    if (text.starts_with(u"\\\\?\\")) {
        path = parseLiteral(text.substr(4));
    } else {
        const std::u16string full = fullPath(text, currentDirectory);
        const std::size_t volume = volumeLength(full);
        path.length = full.size();
        if (full.empty() || path.length >= MAX_PATH) {
            path.status = ERROR_PATH_NOT_FOUND;
        } else if (volume == 0) {
            path.status = full.starts_with(u"\\\\.\\") ? ERROR_FILE_NOT_FOUND : ERROR_BAD_PATHNAME;
        } else {
            path.volume = full.substr(0, volume);
            path.names = components(full.substr(volume));
            path.endsInSeparator = !path.names.empty() && full.ends_with(u'\\');
            path.isDevice = !path.names.empty() && isDeviceName(path.names.back());
        }
    }
    if (path.status == ERROR_SUCCESS &&
        !std::all_of(path.names.begin(), path.names.end(), isLegalName)) {
        path.status = ERROR_INVALID_NAME;
    }
    return path;
}

}  // namespace simulated
