// An action of the library on a described machine: what is requested, and the outcome as the JSON
// that `--json` prints. Nothing here reads or writes a file or a stream.
#pragma once

#include <string>
#include <vector>

#include "dryrun/Description.h"

struct NamedText {
    std::string name;  ///< as error messages call it
    std::string text;
};

struct Request {
    NamedText machine;
    std::vector<std::string> removedCodes;
    std::vector<NamedText> added;  ///< in their order
    std::string action;
    std::vector<std::string> properties;  ///< "NAME=VALUE"
    std::string failure;                  ///< "FUNCTION" or "FUNCTION:N"; empty for none
};

/// The names of the library's actions.
extern const std::vector<std::string> kActions;

/// Throws BadInput unless the request's action, properties and failure are well formed.
void checkCall(const Request& request);

/// Describes the machine: the first description, without the removed products, with the added
/// descriptions. Throws BadInput.
void arrangeMachine(const Request& request, DescribedMachine& described);

/// Calls the request's action on the machine, which is afterwards as the action leaves it. Returns
/// the outcome. Throws BadInput.
Json runAction(const Request& request, DescribedMachine& described);

/// Returns the changes from one described machine to another, in the form of an outcome's: {"from",
/// "to", "changes"}. Throws BadInput.
Json compareDescriptions(const NamedText& from, const NamedText& to);

/// Returns the machine's products: {"products": [{"code", "name", "location"}, …]}.
Json productList(DescribedMachine& described);

/// JSON as the program prints it, with a line break at its end.
std::string dump(const Json& json);
