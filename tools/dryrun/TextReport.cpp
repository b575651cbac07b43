#include "dryrun/TextReport.h"

#include <sstream>
#include <string>
#include <utility>

#include "dryrun/Description.h"
#include "simulated/machine/Wide.h"

namespace {

constexpr std::size_t kColumns = 80;

/// The columns that a code unit of UTF-16 takes: East Asian characters are two columns wide. The
/// second unit of a surrogate pair counts as nothing.
std::size_t columnsOf(char16_t unit) {
    const bool isSecond = unit >= 0xDC00 && unit < 0xE000;
    const bool isWide = (unit >= 0x1100 && unit < 0x1160) || (unit >= 0x2E80 && unit < 0xDC00) ||
                        (unit >= 0xF900 && unit < 0xFB00) || (unit >= 0xFF00 && unit < 0xFF61);
    return isSecond ? 0 : isWide ? 2 : 1;
}

std::size_t columnsOf(const std::u16string& text) {
    std::size_t columns = 0;
    for (const char16_t unit : text) {
        columns += columnsOf(unit);
    }
    return columns;
}

/// Returns how many units of the text fit into a line: up to the last blank, backslash or semicolon
/// that does, or as many as there is space for.
std::size_t lineLength(const std::u16string& text, std::size_t columns) {
    std::size_t used = 0;
    std::size_t breakable = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        used += columnsOf(text[i]);
        if (used > columns) {
            return breakable != 0 ? breakable : std::max<std::size_t>(i, 1);
        }
        if (std::u16string_view(u" \\;").find(text[i]) != std::u16string_view::npos) {
            breakable = i + 1;
        }
    }
    return text.size();
}

/// Prints a text after `first`, continued in lines that begin with `next`.
void printWrapped(std::ostream& out, const std::string& first, const std::string& next,
                  const std::string& text) {
    std::u16string rest = simulated::fromUtf8(text);
    std::string begin = first;
    do {
        const std::size_t length = lineLength(rest, kColumns - begin.size());
        std::string line = simulated::toUtf8(rest.substr(0, length));
        rest.erase(0, length);
        if (!rest.empty() && line.ends_with(' ')) {
            line.pop_back();
        }
        out << begin << line << "\n";
        begin = next;
    } while (!rest.empty());
}

/// A text in a colour of the terminal.
std::string coloured(const TextStyle& style, const char* code, const std::string& text) {
    return style.colour ? std::string("\033[") + code + "m" + text + "\033[0m" : text;
}

const char* colourOf(const std::string& sign) {
    return sign == "+" ? "32" : sign == "-" ? "31" : "33";
}

/// "+ name = value" in one line if it fits, otherwise the value below the name.
void printChange(std::ostream& out, const Json& change, const TextStyle& style) {
    const std::string sign = change["sign"];
    const std::string name = oneLine(change["what"]);
    const std::string before = oneLine(change["before"]);
    const std::string after = oneLine(change["after"]);
    std::string line = name;
    if (sign == "~") {
        line += ": " + before + " → " + after;
    } else if (!before.empty() || !after.empty()) {
        line += " = " + before + after;
    }
    out << "  " << coloured(style, colourOf(sign), sign);
    if (columnsOf(simulated::fromUtf8(line)) <= kColumns - 4) {
        out << " " << line << "\n";
        return;
    }
    std::ostringstream wrapped;
    printWrapped(wrapped, "    ", "      ", name);
    out << wrapped.str().substr(3);
    if (sign == "~") {
        printWrapped(out, "      before  ", "              ", before);
        printWrapped(out, "      after   ", "              ", after);
    } else if (!before.empty() || !after.empty()) {
        printWrapped(out, "      ", "      ", before + after);
    }
}

void printChanges(std::ostream& out, const Json& changes, const TextStyle& style) {
    for (const char* group : {"Registry", "Path", "Files", "Start menu", "At the next restart",
                              "Properties", "Products"}) {
        std::string head = "\n" + coloured(style, "1", group) + "\n";
        for (const Json& change : changes) {
            if (change["group"] == group) {
                out << std::exchange(head, "");
                printChange(out, change, style);
            }
        }
    }
    if (changes.empty()) {
        out << "\nNothing changes.\n";
    }
}

/// Prints the warnings and errors of the log. A record has two lines or more: place, then message.
void printWarnings(std::ostream& out, const std::string& log, const TextStyle& style) {
    std::string head = "\n" + coloured(style, "1", "Log, warnings and errors") + "\n";
    bool isShown = false;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        const bool begins = line.starts_with("\tWARNING: ") || line.starts_with("\tERROR: ");
        isShown = begins || (isShown && !line.starts_with('['));
        if (isShown) {
            out << std::exchange(head, "");
            printWrapped(out, "  ", "      ", oneLine(line).substr(begins ? 1 : 0));
        }
    }
}

}  // namespace

void printOutcome(std::ostream& out, const Json& outcome, const TextStyle& style) {
    out << outcome["action"].get<std::string>() << ": " << outcome["status"] << " ("
        << outcome["meaning"].get<std::string>() << ")\n";
    for (const Json& unread : outcome["unread"]) {
        printWrapped(out, "Not described: ", "    ",
                     oneLine(unread["what"]) + " (status " + unread["status"].dump() + "). " +
                         unread["affects"].get<std::string>());
    }
    for (const Json& note : outcome["notes"]) {
        printWrapped(out, "Note: ", "    ", oneLine(note));
    }
    for (const Json& box : outcome["boxes"]) {
        printWrapped(out, "Message box: ", "    ",
                     "\"" + oneLine(box["title"]) + "\": " + oneLine(box["text"]));
    }
    for (const Json& broadcast : outcome["broadcasts"]) {
        out << "Broadcast to all windows: " << oneLine(broadcast) << "\n";
    }
    printChanges(out, outcome["changes"], style);
    if (style.wholeLog) {
        out << "\n" << coloured(style, "1", "Log") << "\n" << outcome["log"].get<std::string>();
    } else {
        printWarnings(out, outcome["log"], style);
    }
}

void printComparison(std::ostream& out, const Json& comparison, const TextStyle& style) {
    printWrapped(out, "", "    ",
                 "From " + comparison["from"].get<std::string>() + " to " +
                     comparison["to"].get<std::string>());
    printChanges(out, comparison["changes"], style);
}

void printProducts(std::ostream& out, const Json& list) {
    for (const Json& product : list["products"]) {
        out << oneLine(product["code"]) << "  " << oneLine(product["name"]) << "\n";
        if (const std::string location = oneLine(product["location"]); !location.empty()) {
            printWrapped(out, "    ", "    ", location);
        }
    }
}
