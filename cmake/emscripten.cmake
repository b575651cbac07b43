# WebAssembly by Debian's emscripten. Its driver starts an interpreter for every source, which takes
# as long as a small source itself: sources are compiled by the clang and with the flags that it would
# use, and only linking is left to it.
execute_process(COMMAND em++ -fexceptions --cflags
    OUTPUT_VARIABLE NORV_EMSCRIPTEN_FLAGS OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND em-config LLVM_ROOT
    OUTPUT_VARIABLE NORV_LLVM OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)

set(CMAKE_SYSTEM_NAME Generic)
set(EMSCRIPTEN TRUE)
set(CMAKE_C_COMPILER ${NORV_LLVM}/clang-14)
set(CMAKE_CXX_COMPILER ${NORV_LLVM}/clang++-14)
set(CMAKE_AR ${NORV_LLVM}/llvm-ar-14)
set(CMAKE_RANLIB ${NORV_LLVM}/llvm-ranlib-14)
set(CMAKE_C_FLAGS_INIT "${NORV_EMSCRIPTEN_FLAGS}")
set(CMAKE_CXX_FLAGS_INIT "${NORV_EMSCRIPTEN_FLAGS}")
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_CXX_LINK_EXECUTABLE
    "em++ -fexceptions <CMAKE_CXX_LINK_FLAGS> <LINK_FLAGS> <OBJECTS> -o <TARGET> <LINK_LIBRARIES>")
