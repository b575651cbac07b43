#include "simulated/machine/files/FilePath.h"

#include <windows.h>

#include <algorithm>
#include <iterator>

#include "simulated/machine/Names.h"

namespace simulated {

namespace {

constexpr std::size_t kMaxNameUnits = 255;
constexpr std::u16string_view kLiteralPrefix = u"\\\\?\\";
constexpr std::u16string_view kDevicePrefix = u"\\\\.\\";

/// Windows takes any character before a colon for a drive's letter.
bool isDrive(std::u16string_view text) {
    return text.size() >= 2 && text[0] != u'\\' && text[1] == u':';
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

/// The name of the device that the last name of a path stands for, as it is written there: "nul"
/// of "C:\\x\\nul .txt". Empty for any other path, and on shares.
std::u16string_view deviceName(std::u16string_view path) {
    if (path.starts_with(u"\\\\")) {
        return {};
    }
    std::u16string_view name = path.substr(isDrive(path) ? 2 : 0);
    name.remove_prefix(std::min(name.find_last_of(u'\\') + 1, name.size()));
    name = name.substr(0, name.find_first_of(u".:"));
    name = name.substr(0, name.find_last_not_of(u' ') + 1);
    for (const std::u16string_view device :
         {u"CON", u"PRN", u"AUX", u"NUL", u"CONIN$", u"CONOUT$"}) {
        if (sameText(name, device)) {
            return name;
        }
    }
    const bool isPort =
        name.size() == 4 && name[3] >= u'1' && name[3] <= u'9' &&
        (sameText(name.substr(0, 3), u"COM") || sameText(name.substr(0, 3), u"LPT"));
    return isPort ? name : std::u16string_view();
}

bool isLegalName(std::u16string_view name) {
    constexpr std::u16string_view kIllegal = u"<>:\"/|*?";
    return name.size() <= kMaxNameUnits && std::all_of(name.begin(), name.end(), [&](char16_t c) {
               return c >= 32 && kIllegal.find(c) == std::u16string_view::npos;
           });
}

/// Parses what follows "\\?\", which is taken literally.
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

/// Resolves "." and "..", removes one dot at the end of each name but the last, and the dots and
/// blanks at the end of the last one. What is left of the last name decides whether the result ends
/// in a separator.
std::u16string resolveNames(std::u16string_view path) {
    const std::vector<std::u16string> names = components(path);
    bool endsInSeparator = path.ends_with(u'\\');
    std::vector<std::u16string> kept;
    for (std::size_t i = 0; i < names.size(); ++i) {
        std::u16string name = names[i];
        if (name == u".") {
            continue;
        }
        if (name == u"..") {
            kept.resize(kept.size() - std::min<std::size_t>(kept.size(), 1));
            continue;
        }
        const bool isLast = i + 1 == names.size() && !endsInSeparator;
        if (isLast) {
            trimEnd(name);
            endsInSeparator = name.empty();
        } else if (name.ends_with(u'.')) {
            name.pop_back();
        }
        if (!name.empty()) {
            kept.push_back(std::move(name));
        }
    }
    std::u16string result;
    for (const std::u16string& name : kept) {
        result += (result.empty() ? u"" : u"\\") + name;
    }
    return endsInSeparator && !result.empty() ? result + u'\\' : result;
}

/// Makes a path with backslashes absolute.
std::u16string absolutePath(const std::u16string& path, const std::u16string& current) {
    if (isDrive(path) && (path.size() == 2 || path[2] != u'\\')) {
        const std::u16string drive = path.substr(0, 2);
        const bool isCurrent = sameText(drive, current.substr(0, 2));
        return (isCurrent ? current : drive) + u"\\" + path.substr(2);
    }
    if (isDrive(path) || path.starts_with(u"\\\\")) {
        return path;
    }
    return path.starts_with(u'\\') ? current.substr(0, volumeLength(current)) + path
                                   : current + u"\\" + path;
}

/// Parses a path that `fullPath` has made.
FilePath parseFull(const std::u16string& full) {
    FilePath path;
    path.length = full.size();
    if (full.starts_with(kDevicePrefix) || full.starts_with(kLiteralPrefix)) {
        const std::u16string_view rest = std::u16string_view(full).substr(kDevicePrefix.size());
        path.isDevice = !isDrive(rest) || rest.size() == 2;
        path.volume = full;
        return path.isDevice ? path : parseLiteral(rest);
    }
    const std::size_t volume = volumeLength(full);
    if (full.empty() || path.length >= MAX_PATH) {
        path.status = ERROR_PATH_NOT_FOUND;
    } else if (volume == 0) {
        path.status = ERROR_BAD_PATHNAME;
    } else {
        path.volume = full.substr(0, volume);
        path.names = components(full.substr(volume));
        path.endsInSeparator = !path.names.empty() && full.ends_with(u'\\');
    }
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
    if (path.find_first_not_of(u' ') == path.npos) {
        return {};
    }
    std::u16string text(path);
    std::replace(text.begin(), text.end(), u'/', u'\\');
    if (text == u"\\\\." || text == u"\\\\?") {
        return std::u16string(kDevicePrefix);
    }
    if (text.starts_with(kDevicePrefix) || text.starts_with(kLiteralPrefix)) {
        return text.substr(0, kLiteralPrefix.size()) +
               resolveNames(std::u16string_view(text).substr(kLiteralPrefix.size()));
    }
    if (const std::u16string_view device = deviceName(text); !device.empty()) {
        return std::u16string(kDevicePrefix).append(device);
    }
    text = absolutePath(text, std::u16string(currentDirectory));
    const std::size_t volume = volumeLength(text);
    if (volume == 0 || volume == text.size()) {
        return text;  // "\\server", "\\server\share"
    }
    return text.substr(0, volume) + u'\\' + resolveNames(std::u16string_view(text).substr(volume));
}

FilePath parsePath(std::u16string_view text, std::u16string_view currentDirectory) {
    FilePath path = text.starts_with(kLiteralPrefix)
                        ? parseLiteral(text.substr(kLiteralPrefix.size()))
                        : parseFull(fullPath(text, currentDirectory));
    if (path.status == ERROR_SUCCESS &&
        !std::all_of(path.names.begin(), path.names.end(), isLegalName)) {
        path.status = ERROR_INVALID_NAME;
    }
    return path;
}

}  // namespace simulated
