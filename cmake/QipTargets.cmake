# How the project's targets are compiled and linked.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()

# Warnings, exact floating point (no fused multiply-add, no fast-math) and the sanitizers asked for.
add_library(qip_compile_options INTERFACE)
target_compile_options(qip_compile_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion $<$<BOOL:${QIP_WERROR}>:-Werror> -ffp-contract=off
    # What of fast-math has no macro in Clang, so that frame/exact_arithmetic.h cannot refuse it, is undone here.
    $<$<CXX_COMPILER_ID:Clang>:-fno-unsafe-math-optimizations>)
if(NOT QIP_SANITIZE)
    # Applications run on threads with small stacks. Red zones, and code without optimisation, need more.
    target_compile_options(qip_compile_options INTERFACE
        $<$<NOT:$<CONFIG:Debug>>:-Wframe-larger-than=16384>)
else()
    target_compile_options(qip_compile_options INTERFACE
        -fsanitize=${QIP_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(qip_compile_options INTERFACE -fsanitize=${QIP_SANITIZE})
endif()

# qip_add_library(name VERSION v EXPORTS list HEADERS folder SOURCES files... [REQUIRES target])
#
# Makes ${name}_objects, the compiled sources with hidden visibility (the tests link them to reach what
# the library hides), and ${name}, the library made of them. The shared library exports exactly the
# symbols of the list, a sorted text file with one name a line.
function(qip_add_library name)
    cmake_parse_arguments(arg "" "VERSION;EXPORTS;HEADERS;REQUIRES" "SOURCES" ${ARGN})

    add_library(${name}_objects OBJECT ${arg_SOURCES})
    target_include_directories(${name}_objects PUBLIC
        ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/platform)
    target_link_libraries(${name}_objects PRIVATE $<BUILD_INTERFACE:qip_compile_options>)
    set_target_properties(${name}_objects PROPERTIES
        CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    target_compile_options(${name}_objects PRIVATE
        "SHELL:-include \"${PROJECT_SOURCE_DIR}/frame/exact_arithmetic.h\"")

    string(REGEX MATCH "^[0-9]+" major ${arg_VERSION})
    add_library(${name} $<TARGET_OBJECTS:${name}_objects>)
    get_filename_component(headers_root ${arg_HEADERS} DIRECTORY)
    target_include_directories(${name} INTERFACE
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/${headers_root}>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:qip_compile_options>)
    if(arg_REQUIRES)
        target_link_libraries(${name} PUBLIC ${arg_REQUIRES})
    endif()
    set_target_properties(${name} PROPERTIES
        VERSION ${arg_VERSION} SOVERSION ${major} LINKER_LANGUAGE CXX)
    if(BUILD_SHARED_LIBS)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${arg_EXPORTS})
        file(READ ${arg_EXPORTS} exports)
        string(REGEX REPLACE "([^\n]+)" "    \\1;" exports "${exports}")
        set(map ${CMAKE_CURRENT_BINARY_DIR}/lib${name}.map)
        file(CONFIGURE OUTPUT ${map} CONTENT "{\nglobal:\n${exports}local:\n    *;\n};\n" @ONLY)
        target_link_options(${name} PRIVATE LINKER:--version-script=${map})
        set_target_properties(${name} PROPERTIES LINK_DEPENDS ${map})
        if(NOT QIP_SANITIZE)
            target_link_options(${name} PRIVATE LINKER:-z,defs)
        endif()
    endif()
endfunction()

# The table of processor levels: a file whose name ends in one of these is compiled with the flag beside it.
# No other file gets such a flag; _portable.cpp and _neon.cpp are levels that need none, since 64-bit ARM
# processors have no others.
function(qip_set_level_flags)
    foreach(source IN LISTS ARGN)
        if(source MATCHES "_sse41\\.cpp$")
            set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS "-msse4.1")
        elseif(source MATCHES "_avx2\\.cpp$")
            set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS "-mavx2")
        endif()
        # A kernel is one large function. Checked in place at every access it takes minutes to compile, and as
        # long with what Clang checks of every pointer besides; most of that the address sanitizer sees too.
        if(source MATCHES "_(portable|sse41|neon|avx2)\\.cpp$" AND QIP_SANITIZE MATCHES "address")
            if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
                set(by_calls "--param=asan-instrumentation-with-call-threshold=0")
            else()
                set(by_calls -mllvm -asan-instrumentation-with-call-threshold=0
                    -fno-sanitize=alignment,function,null,object-size,pointer-overflow,vptr)
            endif()
            set_property(SOURCE ${source} APPEND PROPERTY COMPILE_OPTIONS ${by_calls})
        endif()
    endforeach()
endfunction()
