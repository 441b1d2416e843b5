# What the binaries are built with beside optimisation: protections that cost nothing measurable, and the same
# bytes from every folder. docs/binaries.md lists them. All of it holds for this folder and those below, never
# for a project that embeds this one.
include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX) # without this CMake compiles programs for any address but may not link them so

# Path names in the binaries begin at the root of the sources, RUNPATHs at the binary. Coverage needs real ones.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
check_cxx_compiler_flag(-ffile-prefix-map=/a=. QIP_HAS_FILE_PREFIX_MAP)
if(QIP_HAS_FILE_PREFIX_MAP)
    foreach(folder IN ITEMS ${PROJECT_SOURCE_DIR}=. ${PROJECT_BINARY_DIR}=./build)
        add_compile_options($<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${folder}>)
    endforeach()
endif()

# The sanitizers find more, and parts of this stand in their way.
if(NOT QIP_HARDENING OR QIP_SANITIZE)
    return()
endif()

set(flags -fstack-protector-strong -fstack-clash-protection)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
    list(APPEND flags -fcf-protection=full)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    list(APPEND flags -mbranch-protection=standard)
endif()
foreach(flag IN LISTS flags)
    string(MAKE_C_IDENTIFIER "QIP_HAS${flag}" has)
    check_cxx_compiler_flag(${flag} ${has})
    if(${has})
        add_compile_options(${flag})
    endif()
endforeach()

# Checked calls need an optimiser to know the sizes. A distribution's flags may set another degree before. Not 3:
# it keeps a memcpy that is one load of a register as a call, and smoothing took twice the instructions.
add_compile_options("$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")

foreach(keyword IN ITEMS relro now noexecstack)
    check_linker_flag(CXX LINKER:-z,${keyword} QIP_HAS_LINKER_${keyword})
    if(QIP_HAS_LINKER_${keyword})
        add_link_options(LINKER:-z,${keyword})
    endif()
endforeach()
