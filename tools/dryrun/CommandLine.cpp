#include "dryrun/CommandLine.h"

#include <CLI/CLI.hpp>

#include <algorithm>

#include "dryrun/Files.h"
#include "dryrun/Run.h"
#include "dryrun/TextReport.h"

namespace {

struct Options {
    std::string machine;
    std::string action;
    std::vector<std::string> properties;
    std::vector<std::string> add;
    std::vector<std::string> remove;
    std::string fail;
    std::string after;
    bool log = false;
    bool json = false;
};

void addOptions(CLI::App& app, Options& options) {
    app.add_option("MACHINE", options.machine, "its description, by describe or by hand")
        ->required();
    app.add_option("ACTION", options.action, "an export; without one the products are listed");
    app.add_option("PROPERTY=VALUE", options.properties, "properties of the installer's session");
    app.add_option("--add", options.add, "FILE: another description to lay over the first")
        ->allow_extra_args(false);
    app.add_option("--remove", options.remove, "CODE: a product to remove first")
        ->allow_extra_args(false);
    app.add_option("--fail", options.fail, "FUNCTION[:N]: a Windows function whose N-th call fails");
    app.add_option("--after", options.after, "FILE: where to write the machine afterwards");
    app.add_flag("--log", options.log, "print the whole log");
    app.add_flag("--json", options.json, "print one JSON object");
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

int run(const Options& options, std::ostream& out) {
    const Request request = requestOf(options);
    const bool isCall = !request.action.empty();
    if (isCall) {
        checkCall(request);
    }
    DescribedMachine described;
    arrangeMachine(request, described);
    const Json outcome = isCall ? runAction(request, described) : productList(described);
    if (!options.after.empty()) {
        write("--after", options.after, dump(writeDescription(described)));
    }
    if (options.json) {
        out << dump(outcome);
    } else if (isCall) {
        printOutcome(out, outcome, options.log);
    } else {
        printProducts(out, outcome);
    }
    return !isCall || outcome["status"] == 0 ? 0 : 1;
}

}  // namespace

int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& err) {
    Options options;
    CLI::App app("Shows what an action of the library would do to a described Windows machine.",
                 "dry-run");
    addOptions(app, options);
    try {
        std::reverse(arguments.begin(), arguments.end());  // as CLI11 takes them
        app.parse(std::move(arguments));
        return run(options, out);
    } catch (const CLI::ParseError& e) {
        return app.exit(e, out, err) == 0 ? 0 : 2;
    } catch (const std::exception& e) {
        err << e.what() << "\n";
        return 2;
    }
}
