#include "simulated/machine/files/FileTree.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

namespace simulated {

namespace {

constexpr std::size_t kMaxBaseUnits = 8;
constexpr std::size_t kMaxExtensionUnits = 3;
constexpr std::u16string_view kNotInShortNames = u" +,;=[]";

bool isShortPart(std::u16string_view part) {
    return std::all_of(part.begin(), part.end(), [](char16_t c) {
        return c > 32 && c < 127 && c != u'.' &&
               kNotInShortNames.find(c) == std::u16string_view::npos;
    });
}

/// Whether a name has the form 8.3 already and so is its own short name.
bool isShortName(std::u16string_view name) {
    const std::size_t dot = name.find(u'.');
    if (dot == std::u16string_view::npos) {
        return name.size() <= kMaxBaseUnits && isShortPart(name);
    }
    const std::u16string_view base = name.substr(0, dot);
    const std::u16string_view extension = name.substr(dot + 1);
    return !base.empty() && base.size() <= kMaxBaseUnits && isShortPart(base) &&
           !extension.empty() && extension.size() <= kMaxExtensionUnits && isShortPart(extension);
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

/// The n-th short name that a long name could get.
std::u16string shortNameCandidate(std::u16string_view name, char16_t n) {
    const std::size_t dot = name.rfind(u'.');
    const bool hasExtension = dot != std::u16string_view::npos && dot > 0;
    const std::u16string extension =
        hasExtension ? u"." + shortLetters(name.substr(dot + 1), kMaxExtensionUnits) : u"";
    return shortLetters(hasExtension ? name.substr(0, dot) : name, 6) + u'~' + n + extension;
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
    // NTFS numbers four similar names and distinguishes further ones by a sum of their letters;
    // here those get none, as on a volume without short names.
    for (char16_t n = u'1'; n <= u'4' && node->shortName.empty() && !isShortName(newName); ++n) {
        const std::u16string candidate = shortNameCandidate(newName, n);
        if (entry(candidate) == nullptr) {
            node->shortName = candidate;
            shortNames.emplace(candidate, node.get());
        }
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

bool FileNode::isForAdministrators() const {
    return forAdministrators.value_or(parent != nullptr && parent->isForAdministrators());
}

std::u16string FileNode::path() const {
    return parent == nullptr ? name : parent->path() + u"\\" + name;
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
    return field(reparse, 0, 4) == IO_REPARSE_TAG_SYMLINK && field(reparse, 16, 4) == 1;
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

bool isGoodMountPoint(std::string_view reparse) {
    const std::uint32_t substituteSize = field(reparse, 10, 2);
    const std::uint32_t printSize = field(reparse, 14, 2);
    return field(reparse, 4, 2) == 8 + substituteSize + 2 + printSize + 2 &&
           field(reparse, 8, 2) == 0 && field(reparse, 12, 2) == substituteSize + 2 &&
           substituteName(reparse).starts_with(u"\\??\\");
}

}  // namespace simulated
