// The program without its streams. docs/dry-run.md describes how it is called.
#pragma once

#include <ostream>
#include <string>
#include <vector>

/// Does what the arguments, without the program's name, request. Prints results to `out`, in
/// colours if requested, and one line for what is wrong to `err`. Returns the exit status.
int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& err,
                   bool inColours = false);
