#include "simulated/machine/Machine.h"

#include <algorithm>
#include <iterator>

namespace simulated {

namespace {

Machine* running = nullptr;

}  // namespace

Machine::Machine() = default;
Machine::~Machine() = default;

void Machine::endProcess() {
    handles.closeAll();
    crt.endProcess();
    facts.endProcess();
    modules.endProcess();
    sharedMemory.endProcess();
    installer.endProcess();
    shell.endProcess();
    calls.clearPlans();
}

void Machine::restart() {
    endProcess();
    sharedMemory.restart();
    volumes.restart();
    installer.restart();
}

void Machine::become32Bit() {
    facts.is64BitSystem = false;
    facts.is64BitProcess = false;
    registry.dropWow64Keys();
}

std::vector<std::string> Machine::describe() const {
    std::vector<std::string> lines;
    registry.describe(lines);
    volumes.describe(lines);
    installer.describe(lines);
    std::sort(lines.begin(), lines.end());
    return lines;
}

Machine& Machine::current() {
    if (running != nullptr) {
        return *running;
    }
    static Machine machine;
    return machine;
}

Running::Running(Machine& machine) : previous_(running) { running = &machine; }

Running::~Running() { running = previous_; }

std::vector<std::string> differences(const Machine& first, const Machine& second) {
    const std::vector<std::string> before = first.describe();
    const std::vector<std::string> after = second.describe();
    std::vector<std::string> missing;
    std::vector<std::string> added;
    std::set_difference(before.begin(), before.end(), after.begin(), after.end(),
                        std::back_inserter(missing));
    std::set_difference(after.begin(), after.end(), before.begin(), before.end(),
                        std::back_inserter(added));
    std::vector<std::string> result;
    for (const std::string& fact : missing) {
        result.push_back("- " + fact);
    }
    for (const std::string& fact : added) {
        result.push_back("+ " + fact);
    }
    return result;
}

}  // namespace simulated
