// The description of a machine and the readers that fill it. docs/dry-run.md has the format.
// Nothing here changes the machine, and what fails to be read costs one entry of `unread`, nothing
// else.
#pragma once

#include <windows.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "common/share/tstring.h"

using Json = nlohmann::json;

/// Orders names as Windows compares them: without case.
struct NameLess {
    bool operator()(const tstring& a, const tstring& b) const;
};
bool sameName(std::wstring_view a, std::wstring_view b);

struct Description {
    Json json = Json::object();
    /// The directories and files in which an update works, for pending moves.
    std::vector<tstring> places = {};

    /// Returns whether something was read. A status other than success and "not found" is noted.
    bool wasRead(const tstring& what, DWORD status);
    /// Notes what could not be read: a key, a value as "key [name]", a path, "{code} Name".
    void addUnread(const tstring& what, DWORD status);

    /// Sets `object[name]`. A text that JSON can't hold is noted as unread instead.
    void setText(Json& object, const std::string& name, const tstring& text, const tstring& what);
    /// The text in UTF-8; nothing and a note for one that JSON can't hold.
    std::optional<std::string> exactText(const tstring& text, const tstring& what);

    /// The path of a folder such as "system", with `below` appended; empty when it is not known.
    tstring folder(const char* name, const tstring& below) const;
    /// A value that is a text of the registry, REG_SZ or REG_EXPAND_SZ; empty for any other.
    tstring registryText(const std::string& key, const char* name) const;
};

/// The text of a registry value in a description; empty for a value of another type.
tstring textOf(const Json& value);
/// Bytes as a text if they are one, else as {"hex": digits}.
Json bytesJson(const std::string& bytes);
Json hexJson(const std::string& bytes);

/// Windows, the process, its folders and the drives.
void describeMachine(Description& description);

/// The keys of the library; `products` are the codes whose Uninstall keys are read.
void describeRegistry(Description& description, const std::vector<tstring>& products);
/// The pending moves that concern one of `places`.
void describePendingMoves(Description& description);

/// Describes the products of the platform in the order in which detection finds them. Returns their
/// codes.
std::vector<tstring> describeProducts(Description& description);
/// The tables of the package that is to be installed.
void describePackage(Description& description, const tstring& path);

/// The files of products, shims, Start menu, bridge libraries, updater, reserved location and
/// runtime settings. Needs what the other readers have found.
void describeFiles(Description& description);
/// A directory with everything below it, or a file.
void describeTree(Description& description, const tstring& path);
/// Whatever has this path, a directory for itself alone.
void describeFile(Description& description, const tstring& path);
/// A file with its content.
void describeContent(Description& description, const tstring& path);

/// A shortcut of either kind; nothing when the file is none.
std::optional<Json> shortcutOf(Description& description, const tstring& path);

/// Replaces the user's name and the directories of other programs by placeholders.
void hideNames(Description& description);
