#include "dryrun/CommandLine.h"

#include <CLI/CLI.hpp>

#include <algorithm>

#include "dryrun/Files.h"
#include "dryrun/HtmlReport.h"
#include "dryrun/Run.h"
#include "dryrun/TextReport.h"

namespace {

constexpr int kSuccess = 0;
constexpr int kActionFailed = 1;
constexpr int kBadInput = 2;
constexpr int kIncomplete = 3;

struct Options {
    std::string machine;
    std::string action;
    std::vector<std::string> properties;
    std::vector<std::string> add;
    std::vector<std::string> remove;
    std::string fail;
    std::string after;
    std::string html;
    std::vector<std::string> compare;
    bool incomplete = false;
    bool log = false;
    bool json = false;
};

void addOptions(CLI::App& app, Options& options) {
    app.add_option("MACHINE", options.machine,
                   "its description, by describe or by hand; - is stdin");
    app.add_option("ACTION", options.action, "an export; without one the products are listed");
    app.add_option("PROPERTY=VALUE", options.properties, "properties of the installer's session");
    app.add_option("--add", options.add, "FILE: another description to lay over the first")
        ->allow_extra_args(false);
    app.add_option("--remove", options.remove, "CODE: a product to remove first")
        ->allow_extra_args(false);
    app.add_option("--fail", options.fail,
                   "FUNCTION[:N]: a Windows function whose N-th call fails");
    app.add_option("--after", options.after, "FILE: where to write the machine afterwards");
    app.add_option("--html", options.html, "FILE: where to write the outcome as a page");
    app.add_option("--compare", options.compare, "A B: print how description B differs from A")
        ->expected(2);
    app.add_flag("--incomplete", options.incomplete,
                 "accept that the description misses something the action reads");
    app.add_flag("--log", options.log, "print the whole log");
    app.add_flag("--json", options.json, "print one JSON object");
}

/// Returns the end of the help text.
std::string footer() {
    std::string text = "Actions:\n";
    for (const std::string& action : kActions) {
        text += "  " + action + "\n";
    }
    return text +
           "Exit status:\n"
           "  0  the action returned 0, or there was no action\n"
           "  1  the action returned another status\n"
           "  2  the description or the call is bad; one line says why\n"
           "  3  the description misses something that the action reads (see --incomplete)\n"
           "docs/dry-run.md describes the format of descriptions.";
}

NamedText readDescription(const std::string& name) {
    const std::optional<std::string> text = readFile(name);
    if (!text) {
        throw BadInput(name + ": expected a file with a description, found none");
    }
    return {name, *text};
}

Request requestOf(const Options& options) {
    Request request = {.machine = readDescription(options.machine),
                       .removedCodes = options.remove,
                       .added = {},
                       .action = options.action,
                       .properties = options.properties,
                       .failure = options.fail};
    for (const std::string& name : options.add) {
        request.added.push_back(readDescription(name));
    }
    return request;
}

void write(const std::string& option, const std::string& name, const std::string& text) {
    if (!writeFile(name, text)) {
        throw BadInput(option + ": expected a file that can be written, found " + name);
    }
}

int statusOf(const Json& outcome, const Options& options) {
    if (!outcome["unread"].empty() && !options.incomplete) {
        return kIncomplete;
    }
    return outcome["status"] == 0 ? kSuccess : kActionFailed;
}

int runRequest(const Options& options, const TextStyle& style, std::ostream& out) {
    const Request request = requestOf(options);
    checkCall(request);
    DescribedMachine described;
    arrangeMachine(request, described);
    const Json outcome = runAction(request, described);
    if (!options.after.empty()) {
        write("--after", options.after, dump(writeDescription(described)));
    }
    if (!options.html.empty()) {
        write("--html", options.html, htmlReport(outcome));
    }
    if (options.json) {
        out << dump(outcome);
    } else {
        printOutcome(out, outcome, style);
    }
    return statusOf(outcome, options);
}

int listProducts(const Options& options, std::ostream& out) {
    for (const auto& [name, isGiven] :
         {std::pair("--fail", !options.fail.empty()), std::pair("--html", !options.html.empty()),
          std::pair("--log", options.log)}) {
        if (isGiven) {
            throw BadInput(std::string(name) + ": expected an action, found none");
        }
    }
    const Request request = requestOf(options);
    DescribedMachine described;
    arrangeMachine(request, described);
    if (!options.after.empty()) {
        write("--after", options.after, dump(writeDescription(described)));
    }
    const Json list = productList(described);
    if (options.json) {
        out << dump(list);
    } else {
        printProducts(out, list);
    }
    return kSuccess;
}

int compare(const Options& options, const TextStyle& style, std::ostream& out) {
    if (!options.machine.empty()) {
        throw BadInput("--compare: expected two descriptions and no machine, found " +
                       options.machine);
    }
    const Json comparison = compareDescriptions(readDescription(options.compare[0]),
                                                readDescription(options.compare[1]));
    if (options.json) {
        out << dump(comparison);
    } else {
        printComparison(out, comparison, style);
    }
    return kSuccess;
}

int run(const Options& options, bool inColours, std::ostream& out) {
    const TextStyle style = {.colour = inColours, .wholeLog = options.log};
    if (!options.compare.empty()) {
        return compare(options, style, out);
    }
    if (options.machine.empty()) {
        throw BadInput("expected a description of a machine, found none; see --help");
    }
    return options.action.empty() ? listProducts(options, out) : runRequest(options, style, out);
}

}  // namespace

int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& err,
                   bool inColours) {
    Options options;
    CLI::App app("Shows what an action of the library would do to a described Windows machine.",
                 "dry-run");
    addOptions(app, options);
    app.footer(footer());
    try {
        std::reverse(arguments.begin(), arguments.end());  // as CLI11 takes them
        app.parse(std::move(arguments));
        return run(options, inColours, out);
    } catch (const CLI::CallForHelp&) {
        out << app.help();
        return kSuccess;
    } catch (const CLI::ParseError& e) {
        err << e.what() << "; see --help\n";
        return kBadInput;
    } catch (const std::exception& e) {
        err << e.what() << "\n";
        return kBadInput;
    }
}
