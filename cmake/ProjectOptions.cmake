# Options of every target of the project. The presets add warnings as errors.
if(EMSCRIPTEN)
    list(APPEND CMAKE_MODULE_PATH ${PROJECT_SOURCE_DIR}/platform/web/cmake)
    set(CMAKE_POSITION_INDEPENDENT_CODE OFF)
    include_directories(BEFORE SYSTEM ${PROJECT_SOURCE_DIR}/platform/web/include)
endif()
add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE
    -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    # Logs and exceptions name source files below the project, never a path of the build machine.
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC 12 reports overlaps and overruns in optimised string operations that don't exist (its bug 105651).
    set(NORV_FALSE_WARNINGS -Wno-restrict -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread)
    target_compile_options(project_options INTERFACE "$<$<CONFIG:Release>:${NORV_FALSE_WARNINGS}>")
    # With sanitizers it reports uninitialised variables that are initialised, as its manual says.
    if(NORV_SANITIZERS)
        target_compile_options(project_options INTERFACE -Wno-maybe-uninitialized)
    endif()
endif()
target_include_directories(project_options INTERFACE ${PROJECT_SOURCE_DIR}/src)

if(WIN32)
    target_compile_definitions(project_options INTERFACE
        UNICODE _UNICODE WINVER=0x0601 _WIN32_WINNT=0x0601 _WIN32_MSI=500 NOMINMAX
        WIN32_LEAN_AND_MEAN)
    # Symbols that ship name neither the source folder nor the build folder. Of two options that match a
    # name the last one counts.
    target_compile_options(project_options INTERFACE
        -fdebug-prefix-map=${PROJECT_SOURCE_DIR}/= -fdebug-prefix-map=${PROJECT_BINARY_DIR}=.)
    # The C++ run-time is linked statically: the DLL ships alone.
    target_link_options(project_options INTERFACE -static)
else()
    # Every simulated process loads its own copy of the library: the copies must share no symbol.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(project_options INTERFACE -fno-gnu-unique)
    endif()
    target_include_directories(project_options SYSTEM BEFORE INTERFACE
        ${PROJECT_SOURCE_DIR}/platform/simulated/include)
    if(NORV_SANITIZERS)
        # Test programs are not instrumented, which would double the build time.
        set(instrumented $<NOT:$<BOOL:$<TARGET_PROPERTY:NORV_UNINSTRUMENTED>>>)
        target_compile_options(project_options INTERFACE
            $<${instrumented}:-fsanitize=${NORV_SANITIZERS}>
            $<${instrumented}:-fno-sanitize-recover=all>
            $<${instrumented}:-fno-omit-frame-pointer>)
        target_link_options(project_options INTERFACE -fsanitize=${NORV_SANITIZERS})
    endif()
endif()
