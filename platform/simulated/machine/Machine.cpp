#include "simulated/machine/Machine.h"

#include <algorithm>

namespace simulated {

namespace {

Machine* running = nullptr;

}  // namespace

void Machine::endProcess() {
    handles.closeAll();
    crt.endProcess();
    facts.threadIds.clear();
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

Running::Running(Machine& machine) : previous_(running) {
    running = &machine;
}

Running::~Running() {
    running = previous_;
}

}  // namespace simulated
