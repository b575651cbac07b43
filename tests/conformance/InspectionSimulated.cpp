#include "Inspection.h"

#include "simulated/machine/Machine.h"
#include "simulated/machine/Wide.h"

namespace {

simulated::Machine& machine() {
    return simulated::Machine::current();
}

}  // namespace

bool isWine() {
    return false;
}

void setVariable(const TCHAR* name, const TCHAR* value) {
    machine().facts.environment.erase(name);
    if (value != nullptr) {
        machine().facts.environment.emplace(name, value);
    }
}

SavedLink savedLink(const tstring& path) {
    const simulated::ShellLink link = machine().shell.link(path).value();
    return {link.target, link.arguments, link.description, link.icon, link.iconIndex};
}

tstring savedUrl(const tstring& path) {
    return machine().shell.link(path).value().target;
}

tstring accessList(const tstring& path) {
    return simulated::fromUtf8(machine().volumes.security(path));
}

std::pair<tstring, tstring> lastDelayedMove() {
    const simulated::DelayedMove& move = machine().volumes.delayedMoves().back();
    return {move.from, move.to};
}
