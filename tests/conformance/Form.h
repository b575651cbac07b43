// The form of Windows that a conformance run has, as the run was started: what Windows' functions
// tell of it is compared with this.
#pragma once

bool isWindows64Bit();
bool isProgram64Bit();
