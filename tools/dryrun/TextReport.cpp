#include "dryrun/TextReport.h"

#include <sstream>
#include <string>
#include <utility>

#include "dryrun/Description.h"

namespace {

std::string valuesOf(const Json& change) {
    const std::string before = oneLine(change["before"]);
    const std::string after = oneLine(change["after"]);
    if (change["sign"] == "~") {
        return ": " + before + " → " + after;
    }
    return (before + after).empty() ? "" : " = " + before + after;
}

void printChanges(std::ostream& out, const Json& changes) {
    for (const char* group :
         {"Registry", "Path", "Files", "Start menu", "At the next restart", "Properties"}) {
        std::string head = std::string("\n") + group + "\n";
        for (const Json& change : changes) {
            if (change["group"] == group) {
                out << std::exchange(head, "") << "  " << change["sign"].get<std::string>() << " "
                    << oneLine(change["what"]) << valuesOf(change) << "\n";
            }
        }
    }
    if (changes.empty()) {
        out << "\nNothing changes.\n";
    }
}

/// The records, of two lines each, where and what: those that warn.
void printWarnings(std::ostream& out, const std::string& log) {
    std::string head = "\nLog, warnings and errors\n";
    bool isShown = false;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        const bool begins = line.starts_with("\tWARNING: ") || line.starts_with("\tERROR: ");
        isShown = begins || (isShown && !line.starts_with('['));
        if (isShown) {
            out << std::exchange(head, "") << "  " << oneLine(line) << "\n";
        }
    }
}

}  // namespace

void printOutcome(std::ostream& out, const Json& outcome, bool wholeLog) {
    out << outcome["action"].get<std::string>() << ": " << outcome["status"] << " ("
        << outcome["meaning"].get<std::string>() << ")\n";
    for (const Json& note : outcome["notes"]) {
        out << "Note: " << oneLine(note) << "\n";
    }
    for (const Json& box : outcome["boxes"]) {
        out << "Message box \"" << oneLine(box["title"]) << "\": " << oneLine(box["text"]) << "\n";
    }
    for (const Json& broadcast : outcome["broadcasts"]) {
        out << "Broadcast to all windows: " << oneLine(broadcast) << "\n";
    }
    printChanges(out, outcome["changes"]);
    if (wholeLog) {
        out << "\nLog\n" << outcome["log"].get<std::string>();
    } else {
        printWarnings(out, outcome["log"]);
    }
}

void printProducts(std::ostream& out, const Json& list) {
    for (const Json& product : list["products"]) {
        out << oneLine(product["code"]) << "  " << oneLine(product["name"]) << "  "
            << oneLine(product["location"]) << "\n";
    }
}
