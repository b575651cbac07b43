// A test that calls actions in a session of the installer.
#pragma once

#include "common/share/tstrings.h"
#include "support/OnMachine.h"

class ActionTest : public OnMachine {
protected:
    ~ActionTest() override { EXPECT_TRUE(machine.installer.openHandles().empty()); }

    /// A property of the session, for reading and writing.
    tstring& property(const char16_t* name) {
        return machine.installer.session(session).properties[name];
    }

    simulated::Volumes& volumes = machine.volumes;
    MSIHANDLE session = machine.installer.openSession();
};
