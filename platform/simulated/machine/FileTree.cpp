#include "simulated/machine/FileTree.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

namespace simulated {

namespace {

constexpr std::size_t kMostBaseUnits = 8;
constexpr std::size_t kMostExtensionUnits = 3;
constexpr std::u16string_view kNotInShortNames = u" +,;=[]";

bool isShortPart(std::u16string_view part) {
    return std::all_of(part.begin(), part.end(), [](char16_t c) {
        return c > 32 && c < 127 && c != u'.' &&
               kNotInShortNames.find(c) == std::u16string_view::npos;
    });
}

/// The letters of a long name that its short name is made of.
std::u16string shortLetters(std::u16string_view part, std::size_t most) {
    std::u16string letters;
    for (const char16_t c : part) {
        if (c == u' ' || c == u'.') {
            continue;
        }
        const bool fits = c < 127 && kNotInShortNames.find(c) == std::u16string_view::npos;
        letters += fits ? upperCase(c) : u'_';
        if (letters.size() == most) {
            break;
        }
    }
    return letters;
}

/// Four hexadecimal digits of a long name, for the fifth and later names alike in their first six
/// letters.
std::u16string nameDigits(std::u16string_view name) {
    std::uint32_t sum = 0;
    for (const char16_t c : name) {
        sum = sum * 31 + upperCase(c);
    }
    std::u16string digits;
    for (int shift = 12; shift >= 0; shift -= 4) {
        digits += u"0123456789ABCDEF"[(sum >> shift) & 0xF];
    }
    return digits;
}

/// The n-th short name that a long name could get: four are numbered, then digits of the name help.
std::u16string shortNameCandidate(std::u16string_view name, unsigned n) {
    const std::size_t dot = name.rfind(u'.');
    const bool hasExtension = dot != std::u16string_view::npos && dot > 0;
    std::u16string base = shortLetters(hasExtension ? name.substr(0, dot) : name, 6);
    if (n > 4) {
        base = base.substr(0, 2) + nameDigits(name);
        n -= 4;
    }
    const std::string number = std::to_string(n);
    std::u16string result = base.substr(0, kMostBaseUnits - 1 - number.size()) + u"~";
    result.append(number.begin(), number.end());
    if (hasExtension) {
        result += u"." + shortLetters(name.substr(dot + 1), kMostExtensionUnits);
    }
    return result;
}

std::uint32_t field(std::string_view buffer, std::size_t offset, std::size_t width) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < width && offset + i < buffer.size(); ++i) {
        value |= static_cast<std::uint32_t>(static_cast<unsigned char>(buffer[offset + i]))
                 << (8 * i);
    }
    return value;
}

void appendField(std::string& buffer, std::uint32_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
        buffer += static_cast<char>(value >> (8 * i));
    }
}

std::string linkBuffer(DWORD tag, std::u16string_view substitute, std::u16string_view print) {
    const bool isSymbolic = tag == IO_REPARSE_TAG_SYMLINK;
    const auto substituteSize = static_cast<std::uint32_t>(2 * substitute.size());
    const auto printSize = static_cast<std::uint32_t>(2 * print.size());
    std::string buffer;
    appendField(buffer, tag, 4);
    appendField(buffer, 8 + (isSymbolic ? 4 : 0) + substituteSize + 2 + printSize + 2, 2);
    appendField(buffer, 0, 2);
    appendField(buffer, 0, 2);
    appendField(buffer, substituteSize, 2);
    appendField(buffer, substituteSize + 2, 2);
    appendField(buffer, printSize, 2);
    if (isSymbolic) {
        appendField(buffer, substitute.starts_with(u"\\??\\") ? 0 : 1, 4);
    }
    for (const std::u16string_view name : {substitute, print}) {
        for (const char16_t c : name) {
            appendField(buffer, c, 2);
        }
        appendField(buffer, 0, 2);
    }
    return buffer;
}

}  // namespace

FileNode::~FileNode() {
    for (const auto& [key, node] : entries) {
        node->parent = nullptr;
    }
}

DWORD FileNode::allAttributes() const {
    const DWORD all = attributes | (isDirectory ? FILE_ATTRIBUTE_DIRECTORY : 0) |
                      (reparse.empty() ? 0 : FILE_ATTRIBUTE_REPARSE_POINT);
    return all == 0 ? FILE_ATTRIBUTE_NORMAL : all;
}

DWORD FileNode::reparseTag() const {
    return field(reparse, 0, 4);
}

std::shared_ptr<FileNode> FileNode::entry(std::u16string_view wanted) const {
    const auto byLongName = entries.find(wanted);
    if (byLongName != entries.end()) {
        return byLongName->second;
    }
    const auto byShortName = shortNames.find(wanted);
    return byShortName == shortNames.end() ? nullptr
                                           : entries.find(byShortName->second->name)->second;
}

void FileNode::add(std::shared_ptr<FileNode> node, std::u16string_view newName) {
    node->name = newName;
    node->shortName.clear();
    node->parent = this;
    if (!isShortName(newName)) {
        unsigned n = 0;
        do {
            node->shortName = shortNameCandidate(newName, ++n);
        } while (entry(node->shortName) != nullptr);
        shortNames.emplace(node->shortName, node.get());
    }
    entries.emplace(newName, std::move(node));
}

void FileNode::take(FileNode& node) {
    node.parent = nullptr;
    if (!node.shortName.empty()) {
        shortNames.erase(node.shortName);
    }
    entries.erase(entries.find(node.name));  // may be the end of the node
}

bool FileNode::isUsedAgainst(DWORD access, DWORD share) const {
    if (access == 0) {
        return false;
    }
    return std::any_of(uses.begin(), uses.end(), [&](const FileUse* use) {
        return (access & ~use->share) != 0 || (use->access & ~share) != 0;
    });
}

bool FileNode::isProgram() const {
    return std::any_of(uses.begin(), uses.end(), [](const FileUse* use) { return use->program; });
}

std::u16string FileNode::path() const {
    return parent == nullptr ? name : parent->path() + u"\\" + name;
}

bool isShortName(std::u16string_view name) {
    const std::size_t dot = name.find(u'.');
    if (dot == std::u16string_view::npos) {
        return name.size() <= kMostBaseUnits && isShortPart(name);
    }
    const std::u16string_view base = name.substr(0, dot);
    const std::u16string_view extension = name.substr(dot + 1);
    return !base.empty() && base.size() <= kMostBaseUnits && isShortPart(base) &&
           !extension.empty() && extension.size() <= kMostExtensionUnits && isShortPart(extension);
}

bool fitsPattern(std::u16string_view name, std::u16string_view pattern) {
    if (pattern == u"*.*") {
        return true;
    }
    // The last star seen, and how much of the name it has been taken for.
    std::size_t star = std::u16string_view::npos;
    std::size_t taken = 0;
    std::size_t at = 0;
    std::size_t p = 0;
    while (at < name.size()) {
        if (p < pattern.size() && pattern[p] == u'*') {
            star = p++;
            taken = at;
        } else if (p < pattern.size() &&
                   (pattern[p] == u'?' || upperCase(pattern[p]) == upperCase(name[at]))) {
            ++p;
            ++at;
        } else if (star != std::u16string_view::npos) {
            p = star + 1;
            at = ++taken;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of(u'*', p) == std::u16string_view::npos;
}

std::u16string substituteName(std::string_view reparse) {
    const DWORD tag = field(reparse, 0, 4);
    if (tag != IO_REPARSE_TAG_MOUNT_POINT && tag != IO_REPARSE_TAG_SYMLINK) {
        return {};
    }
    const std::size_t names = tag == IO_REPARSE_TAG_SYMLINK ? 20 : 16;
    const std::size_t start = names + field(reparse, 8, 2);
    const std::size_t size = field(reparse, 10, 2);
    if (start + size > reparse.size()) {
        return {};
    }
    std::u16string name;
    for (std::size_t i = 0; i + 1 < size; i += 2) {
        name += static_cast<char16_t>(field(reparse, start + i, 2));
    }
    return name;
}

bool isRelativeLink(std::string_view reparse) {
    return field(reparse, 0, 4) == IO_REPARSE_TAG_SYMLINK && (field(reparse, 16, 4) & 1) != 0;
}

std::string junctionBuffer(std::u16string_view substitute, std::u16string_view print) {
    return linkBuffer(IO_REPARSE_TAG_MOUNT_POINT, substitute, print);
}

std::string symbolicLinkBuffer(std::u16string_view substitute, std::u16string_view print) {
    return linkBuffer(IO_REPARSE_TAG_SYMLINK, substitute, print);
}

}  // namespace simulated
