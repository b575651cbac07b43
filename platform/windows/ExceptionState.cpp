// The state in which the C++ run-time records a thread's exceptions: those being handled and the
// number of those in flight.
//
// The compiler's own run-time allocates this state on the heap at the first throw of a thread and
// calls abort() if that fails: an action that runs out of memory, and reports it by its first
// throw, would end the installer's process instead of failing. So the two functions that return the
// state, which the C++ ABI names and describes, are defined here, and the linker doesn't use those
// of the run-time.
//
// The state is stored in the DLL's section of thread-local data (".tls"). Windows allocates a copy
// of that section for each thread when the thread starts or the DLL is loaded, and frees it with
// either of them, so that nothing can fail at a throw and nothing has to be freed. Other compilers
// use this section for `thread_local`; this one allocates on the heap for that. The copy is reached
// as the executable format defines it for compilers: the thread's block, its array of copies, the
// DLL's index in the array.
// block, its array of copies, the DLL's place in the array.
#include <windows.h>
#include <winternl.h>

#include <cxxabi.h>

#include <cstddef>

namespace __cxxabiv1 {

/// As the C++ ABI defines it.
struct __cxa_eh_globals {
    void* caughtExceptions;
    unsigned int uncaughtExceptions;
};

}  // namespace __cxxabiv1

// The start of the section, and the DLL's index in the array of copies, both defined by the
// start-up code.
extern "C" char _tls_start;
extern "C" ULONG _tls_index;

namespace {

/// The template for each thread's copy. Never read or written.
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
