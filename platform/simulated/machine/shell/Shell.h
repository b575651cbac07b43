// The shell and COM of the machine: standard folders, shortcut files, COM objects that a process
// holds, the error object of its thread.
#pragma once

#include <windef.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace simulated {

class Machine;

/// What a shortcut file holds, of a shell link as well as of an internet shortcut.
struct ShellLink {
    bool internet = false;  ///< made by an internet shortcut object
    std::u16string target;  ///< a path or a URL
    std::u16string arguments;
    std::u16string description;
    std::u16string icon;  ///< the file that holds the icon
    int iconIndex = 0;

    bool operator==(const ShellLink&) const = default;
};

/// Returns what a shortcut is saved as, in UTF-8 with CR LF, instead of the shell's
/// binary format: a head that names the kind, "[ShellLink]" or "[InternetShortcut]", then one line
/// `Key=value` for each of Target, Arguments, Description, IconFile, IconIndex that is set.
std::string shellLinkText(const ShellLink& link);

/// Reads that text; nothing if it has no such head.
std::optional<ShellLink> parseShellLink(const std::string& text);

/// A COM object of the machine. It counts its references itself and leaves the shell with the last.
class ComObject {
public:
    virtual ~ComObject() = default;
    virtual std::string description() const = 0;
};

class Shell {
public:
    explicit Shell(Machine& machine) : machine_(machine) {}

    /// The shortcut in a file; nothing if there is no file or no shortcut in it.
    std::optional<ShellLink> link(const std::u16string& path) const;

    /// Puts a standard folder at another place, for every process. `folder` is a CSIDL.
    void setFolder(int folder, const std::u16string& path) { folders_[folder] = path; }

    /// The place of a standard folder as this process sees it; nothing for an unknown number.
    std::optional<std::u16string> folder(int folder) const;

    /// Leaves an error object with this description on the thread, as a failing COM call does.
    void setErrorInfo(const std::u16string& description) { errorInfo_ = description; }

    /// Describes each COM object that is still held.
    std::vector<std::string> openObjects() const;

    /// How often the calling thread has started COM without ending it.
    int comStarts() const;

    /// The end of a process: its COM objects and starts go.
    void endProcess();

    // For the calls alone.

    void add(std::unique_ptr<ComObject> object);
    void remove(const ComObject* object) { objects_.erase(object); }
    int& comStartsOfThread() { return comStarts_[std::this_thread::get_id()]; }
    std::optional<std::u16string> takeErrorInfo() {
        return std::exchange(errorInfo_, std::nullopt);
    }

private:
    Machine& machine_;
    std::map<int, std::u16string> folders_;
    std::map<const ComObject*, std::unique_ptr<ComObject>> objects_;
    std::map<std::thread::id, int> comStarts_;
    std::optional<std::u16string> errorInfo_;
};

}  // namespace simulated
