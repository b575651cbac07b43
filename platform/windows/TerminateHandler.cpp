// What happens when an exception has nowhere to go.
//
// The run-time would tell of it on a console that an installer hasn't got, with a demangler of 46
// KB. Its function is defined here in its stead, so that the linker takes neither.
#include <cstdlib>

namespace __gnu_cxx {

void __verbose_terminate_handler() {
    std::abort();
}

}  // namespace __gnu_cxx
