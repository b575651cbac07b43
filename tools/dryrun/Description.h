// Descriptions and the machines that they are of.
#pragma once

#include <map>
#include <set>
#include <string>

#include "dryrun/Format.h"
#include "simulated/machine/Machine.h"

/// A machine, with the parts of its description that the machine itself doesn't have.
struct DescribedMachine {
    simulated::Machine machine;
    /// The package that the sessions are of.
    simulated::Package package;
    /// The parts that no action changes, as they were written.
    Json fixedParts = Json::object();
    /// What the description says about files instead of their contents, by the content that
    /// represents it.
    std::map<std::string, Json> toldContents;
    /// The keys, values and paths that were written, as `foldedName` gives them. What every Windows
    /// has and nobody wrote is no part of a description.
    std::set<std::string> named;
};

/// Lays a description over a machine; over a new one it is the description of it. It has the format
/// of descriptions. Throws BadInput, whose message begins with `place`, for what the machine can't
/// have.
void addDescription(DescribedMachine& described, const std::string& place, const Json& description);

/// Takes a product away as its own removal does; false if it isn't installed.
bool removeProduct(DescribedMachine& described, const std::string& code);

/// Everything on a machine, and this without what every Windows has.
Json writeWhole(const DescribedMachine& described);
Json writeDescription(const DescribedMachine& described);

/// What differs between two descriptions, each with its "group" ("Registry", "Files", "Start menu",
/// "Path", "At the next restart", "Properties"), "sign" ("+", "-" or "~"), "what", "before" and
/// "after"; `startMenu` is the folder whose entries are the Start menu's.
Json changesOf(const Json& before, const Json& after, const std::string& startMenu);

/// A name or fact as one line: control characters are replaced.
std::string oneLine(const Json& value);

/// A name in upper case: of a key or path, or of a value of a key.
std::string foldedName(std::string_view name);
std::string foldedName(std::string_view key, std::string_view value);
/// The library's log is no part of a machine.
bool isLogFile(std::u16string_view name);

/// Returns what follows from a product's type and version: a description with the "registry" and
/// "files" that a good package of it leaves, and with the product itself in "products".
Json usualProduct(const std::string& place, const Json& product, bool is64BitSystem);
