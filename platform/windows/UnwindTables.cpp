// Makes the tables for unwinding known to the unwinder that is linked into the DLL (32 bits only;
// on 64 bits Windows finds them itself).
//
// The start-up code hands the tables to libgcc_s_dw2-1.dll if the process has that library loaded,
// and to the unwinder in this DLL otherwise. But a throw here always asks the one in this DLL: in
// an installer that has the other library loaded it would find nothing and end the process. So this
// looks once, before any other code of the DLL runs, whether the own unwinder knows the tables, and
// hands them over if it doesn't. Nothing is to be taken back at the end: who keeps them goes when
// the DLL goes.
#include <unwind.h>

namespace {

/// Where this file's tables begin, and behind them those of all that is linked after it: this file
/// has to come first, as the start-up code's mark does. The end is marked by the start-up code.
[[gnu::section(".eh_frame"), gnu::aligned(4)]] const char tables[0] = {};

/// Where the unwinder keeps what it makes of them; it takes six words.
void* room[8];

}  // namespace

/// The run-time's; it has no header that says so.
extern "C" void __register_frame_info(const void* tables, void* room);

namespace {

[[gnu::constructor(101)]] void makeTablesKnown() {
    // The unwinder looks for the code in front of the address, as if it were one to return to.
    char* const here = reinterpret_cast<char*>(&makeTablesKnown) + 1;
    if (_Unwind_FindEnclosingFunction(here) == nullptr) {
        __register_frame_info(tables, room);
    }
}

}  // namespace
