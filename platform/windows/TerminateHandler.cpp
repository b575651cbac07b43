// Ends the process when an exception is not caught.
//
// The run-time's handler prints the exception, which a process without a console never shows and
// which adds 46 KB for the demangler; then it calls abort(), whose message box would stop an
// install in a session without a desktop for ever. This definition replaces it in the link.
#include <windows.h>

namespace __gnu_cxx {

void __verbose_terminate_handler() {
    constexpr UINT kExitCodeOfAbort = 3;
    TerminateProcess(GetCurrentProcess(), kExitCodeOfAbort);
}

}  // namespace __gnu_cxx
