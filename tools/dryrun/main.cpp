// Shows what an action of the library would do to a described Windows machine.
#include <iostream>

#include "dryrun/CommandLine.h"

int main(int argc, char** argv) {
    return runCommandLine({argv + 1, argv + argc}, std::cout, std::cerr);
}
