// The files and directories of a volume, and the rules for names in a directory.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <windef.h>

#include "simulated/machine/Names.h"

namespace simulated {

/// One user of an open file: what it does and what it lets others do, in the bits of
/// FILE_SHARE_READ, FILE_SHARE_WRITE and FILE_SHARE_DELETE.
struct FileUse {
    DWORD access = 0;
    DWORD share = 0;
    bool program = false;  ///< runs the file
};

struct FileNode {
    std::u16string name;
    std::u16string shortName;    ///< empty where the name has the form 8.3 itself or got none
    FileNode* parent = nullptr;  ///< null for a root and for a removed node
    bool isDirectory = false;
    DWORD attributes = 0;  ///< those that can be set
    bool readDenied = false;
    bool writeDenied = false;
    std::optional<bool> forAdministrators;  ///< to write; without a value as the parent
    std::string content;
    std::string version;   ///< version resource, empty for none
    std::string reparse;   ///< REPARSE_DATA_BUFFER, empty for none
    std::string security;  ///< self-relative descriptor, empty where none was set
    NameMap<std::shared_ptr<FileNode>> entries;
    NameMap<FileNode*> shortNames;

    std::vector<const FileUse*> uses;
    std::size_t openHandles = 0;
    bool deletePending = false;  ///< goes when the last handle is closed

    FileNode() = default;
    ~FileNode();
    FileNode(const FileNode&) = delete;
    FileNode& operator=(const FileNode&) = delete;

    DWORD allAttributes() const;
    DWORD reparseTag() const;

    /// The entry with this long or short name, or null.
    std::shared_ptr<FileNode> entry(std::u16string_view name) const;
    /// Puts a node into the directory under a name and gives it a short name there.
    void add(std::shared_ptr<FileNode> node, std::u16string_view name);
    /// Takes an entry out; a user that has it open keeps it.
    void take(FileNode& node);

    /// Whether opening it for `access` with `share` meets another user's objection.
    bool isUsedAgainst(DWORD access, DWORD share) const;
    bool isProgram() const;
    bool isForAdministrators() const;

    /// "C:\Windows\System32"; `root` is the name of the volume.
    std::u16string path() const;
};

/// The substitute name of a mount point or symbolic link, as it is stored there; empty if the
/// buffer is no such link or is broken.
std::u16string substituteName(std::string_view reparse);
/// The REPARSE_DATA_BUFFER of a link with IO_REPARSE_TAG_MOUNT_POINT or IO_REPARSE_TAG_SYMLINK.
std::string linkBuffer(DWORD tag, std::u16string_view substitute, std::u16string_view print);
/// Whether it is a symbolic link whose name counts from the link's own directory.
bool isRelativeLink(std::string_view reparse);
/// Whether a mount point's buffer is laid out as Windows demands: the substitute name first, with
/// its prefix "\??\", then the print name, a NUL after each, and lengths that agree.
bool isGoodMountPoint(std::string_view reparse);

}  // namespace simulated
