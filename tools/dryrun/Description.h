// Descriptions and the machines that they are of. docs/dry-run.md tells the format.
#pragma once

#include <memory>
#include <set>
#include <string>

#include "dryrun/Json.h"
#include "simulated/machine/Machine.h"

/// A machine with what only its description tells of it.
struct DescribedMachine {
    simulated::Machine machine;
    /// The package that the sessions are of.
    simulated::Package package;
    /// The parts that no action changes, as they were written.
    Json fixedParts = Json::object();
    /// The keys, values and paths that were written, as `foldedName` gives them. What every Windows
    /// has and nobody wrote is no part of a description.
    std::set<std::string> named;
};

/// Lays a description over a machine; over a new one it is the description of it. Throws BadInput.
void addDescription(DescribedMachine& described, const Node& description);

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

// ---- For the readers ----

/// Puts what a good package of the type and version in `node` leaves behind on the machine, and
/// what the installer knows of it into `product`, each where it isn't told yet.
void completeProduct(const Node& node, DescribedMachine& described, simulated::Product& product);

/// An absolute path without a separator at its end; anything else is `node`'s fault.
std::u16string pathOf(const Node& node, std::string text);

/// Puts something on the machine; that it doesn't fit there is `node`'s fault.
template <class Put>
void arrange(const Node& node, const Put& put) {
    try {
        put();
    } catch (const std::invalid_argument& e) {
        node.refuse("what can stand on the machine", e.what());
    }
}
