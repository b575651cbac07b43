#include "simulated/machine/shell/Shell.h"

#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "simulated/machine/Machine.h"
#include "simulated/machine/Wide.h"

namespace simulated {

namespace {

constexpr std::string_view kFileHead = "[ShellLink]";
constexpr std::string_view kInternetHead = "[InternetShortcut]";
constexpr std::string_view kLineEnd = "\r\n";

/// The texts of a link with their keys, in the order in which they are written.
constexpr std::array<std::pair<std::string_view, std::u16string ShellLink::*>, 4> kTexts = {{
    {"Target", &ShellLink::target},
    {"Arguments", &ShellLink::arguments},
    {"Description", &ShellLink::description},
    {"IconFile", &ShellLink::icon},
}};
constexpr std::string_view kIconIndex = "IconIndex";

/// Cuts the first line off.
std::string_view takeLine(std::string_view& text) {
    const std::size_t end = std::min(text.find(kLineEnd), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + kLineEnd.size(), text.size()));
    return line;
}

void readLine(ShellLink& link, std::string_view line) {
    const std::size_t equals = std::min(line.find('='), line.size());
    const std::string_view key = line.substr(0, equals);
    const std::string_view value = line.substr(std::min(equals + 1, line.size()));
    if (key == kIconIndex) {
        std::from_chars(value.data(), value.data() + value.size(), link.iconIndex);
    }
    for (const auto& [name, member] : kTexts) {
        if (key == name) {
            link.*member = fromUtf8(value);
        }
    }
}

}  // namespace

std::string shellLinkText(const ShellLink& link) {
    std::string text(link.internet ? kInternetHead : kFileHead);
    text += kLineEnd;
    for (const auto& [name, member] : kTexts) {
        if (!(link.*member).empty()) {
            text.append(name).append("=").append(toUtf8(link.*member)).append(kLineEnd);
        }
    }
    if (!link.icon.empty()) {
        text.append(kIconIndex).append("=").append(std::to_string(link.iconIndex)).append(kLineEnd);
    }
    return text;
}

std::optional<ShellLink> parseShellLink(const std::string& text) {
    std::string_view rest = text;
    const std::string_view head = takeLine(rest);
    if (head != kFileHead && head != kInternetHead) {
        return std::nullopt;
    }
    ShellLink link;
    link.internet = head == kInternetHead;
    while (!rest.empty()) {
        readLine(link, takeLine(rest));
    }
    return link;
}

std::optional<ShellLink> Shell::link(const std::u16string& path) const {
    const std::optional<std::string> content = machine_.volumes.content(path);
    return content ? parseShellLink(*content) : std::nullopt;
}

std::optional<std::u16string> Shell::folder(int folder) const {
    const auto moved = folders_.find(folder);
    if (moved != folders_.end()) {
        return moved->second;
    }
    const Facts& facts = machine_.facts;
    const std::u16string drive = facts.windowsDirectory.substr(0, 2);
    const std::u16string own = drive + u"\\Program Files";
    const std::u16string x86 = facts.is64BitSystem ? own + u" (x86)" : own;
    switch (folder) {
        case CSIDL_COMMON_PROGRAMS:
            return drive + u"\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs";
        case CSIDL_PROGRAM_FILESX86:
            return x86;
        case CSIDL_PROGRAM_FILES_COMMON:
            return (facts.isWow64() ? x86 : own) + u"\\Common Files";
        case CSIDL_PROGRAM_FILES_COMMONX86:
            return x86 + u"\\Common Files";
        default:
            return std::nullopt;
    }
}

std::vector<std::string> Shell::openObjects() const {
    std::vector<std::string> descriptions;
    for (const auto& [address, object] : objects_) {
        descriptions.push_back(object->description());
    }
    return descriptions;
}

int Shell::comStarts() const {
    const auto found = comStarts_.find(std::this_thread::get_id());
    return found == comStarts_.end() ? 0 : found->second;
}

void Shell::add(std::unique_ptr<ComObject> object) {
    const ComObject* const address = object.get();
    objects_.emplace(address, std::move(object));
}

void Shell::endProcess() {
    objects_.clear();
    comStarts_.clear();
    errorInfo_.reset();
}

}  // namespace simulated
