// Registers the unwind tables with the unwinder that is linked into the DLL (32 bits only; on 64
// bits Windows finds them itself).
//
// The start-up code registers the tables with libgcc_s_dw2-1.dll if the process has that library
// loaded, and with the unwinder in this DLL otherwise. But a throw in this DLL always uses the
// unwinder in this DLL, which would find no tables in an installer that has the other library
// loaded, and would end the process. So this file checks once, before any other code of the DLL
// runs, whether its unwinder knows the tables, and registers them if not. They are never
// unregistered: the unwinder is unloaded with the DLL.
#include <unwind.h>

namespace {

/// The start of this file's tables, followed by those of all files linked after it: this file has
/// to be linked first, like the start-up code's own mark. The start-up code marks the end.
[[gnu::section(".eh_frame"), gnu::aligned(4)]] const char tables[0] = {};

/// The memory in which the unwinder keeps its record of the tables; it needs six words.
void* record[8];

}  // namespace

/// A function of the run-time, which no header declares.
extern "C" void __register_frame_info(const void* tables, void* record);

namespace {

[[gnu::constructor(101)]] void registerTables() {
    // The unwinder looks up the code before the address, which it takes for a return address.
    char* const here = reinterpret_cast<char*>(&registerTables) + 1;
    if (_Unwind_FindEnclosingFunction(here) == nullptr) {
        __register_frame_info(tables, record);
    }
}

}  // namespace
