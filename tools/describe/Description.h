// What describe has found of a machine, and the readers that add to it. docs/dry-run.md tells the
// format. Nothing here changes the machine.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

using Json = nlohmann::json;

struct Description {
    Json json = Json::object();
    /// The directories and files in which an update has business, for pending moves.
    std::vector<std::wstring> places = {};

    /// Whether a thing was read. That it isn't there is no failure; any other is noted.
    bool wasRead(const std::wstring& what, DWORD status);
};

std::string utf8(std::wstring_view text);
std::wstring wide(const std::string& utf8);
bool sameText(std::wstring_view a, std::wstring_view b);
bool is64BitWindows();

/// The keys of the library; `products` are the codes whose Uninstall keys are read.
void describeRegistry(Description& description, const std::vector<std::wstring>& products);
/// The pending moves that concern one of `places`.
void describePendingMoves(Description& description);

/// The products of the platform in the order in which detection meets them. Gives their codes.
std::vector<std::wstring> describeProducts(Description& description);
/// The tables of the package that is to be installed.
void describePackage(Description& description, const std::wstring& path);

/// The files of products, shims, Start menu, bridge libraries, updater, reserved location and
/// configuration. Needs what the others have found.
void describeFiles(Description& description);
void describeTree(Description& description, const std::wstring& path);
/// A file with its text.
void describeText(Description& description, const std::wstring& path);

/// A shortcut of either kind.
Json shortcutOf(const std::wstring& path);
