// Where the C++ run-time keeps what it knows of a thread's exceptions: those being handled and the
// number of those in flight.
//
// The compiler's own run-time asks the heap for this place at the first throw of a thread and calls
// abort() if it gets none: an action that runs out of memory, and says so by its first throw, would
// end the installer's process instead of failing. So the two functions by which the run-time finds
// the place, which the C++ ABI names and describes, are defined here, and the linker doesn't take
// the run-time's.
//
// The place lies in the DLL's section of thread-local data (".tls"). Windows itself keeps a copy of
// that section for each thread, made when the thread starts or the DLL is loaded and gone with
// either of them, so that there is nothing left that can fail at a throw, and nothing to free. A
// compiler that knew this section would write `thread_local`; this one calls the heap for that. The
// road to the copy is the one that the executable format lays down for compilers: the thread's
// block, its array of copies, the DLL's place in the array.
#include <windows.h>
#include <winternl.h>

#include <cxxabi.h>

#include <cstddef>

namespace __cxxabiv1 {

/// As the C++ ABI lays it down.
struct __cxa_eh_globals {
    void* caughtExceptions;
    unsigned int uncaughtExceptions;
};

}  // namespace __cxxabiv1

// The section's start, and the DLL's place in the array of copies: by the start-up code.
extern "C" char _tls_start;
extern "C" ULONG _tls_index;

namespace {

/// The model that each thread's copy is made from. Nothing reads or writes it.
[[gnu::section(".tls$NORV"), gnu::used]] __cxxabiv1::__cxa_eh_globals model = {};

/// The word of the thread's block that points to the array of copies, for 64 and for 32 bits.
constexpr std::size_t kThreadLocalStorage = 11;

}  // namespace

extern "C" __cxxabiv1::__cxa_eh_globals* __cxxabiv1::__cxa_get_globals() noexcept {
    char** const copies = static_cast<char**>(NtCurrentTeb()->Reserved1[kThreadLocalStorage]);
    char* const copy = copies[_tls_index];
    return reinterpret_cast<__cxa_eh_globals*>(copy +
                                               (reinterpret_cast<char*>(&model) - &_tls_start));
}

extern "C" __cxxabiv1::__cxa_eh_globals* __cxxabiv1::__cxa_get_globals_fast() noexcept {
    return __cxa_get_globals();
}
