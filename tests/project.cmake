# Tests of the project as a whole, without GoogleTest: headers, symbols, flags, binaries, packages, the README.
# All are shell scripts beside this file; status 77 says "skipped", with the reason printed.

function(qip_add_script_test name)
    cmake_parse_arguments(arg "" "" "COMMAND" ${ARGN})
    add_test(NAME ${name} COMMAND ${arg_COMMAND} COMMAND_EXPAND_LISTS)
    set_tests_properties(${name} PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 600)
endfunction()

set(here ${CMAKE_CURRENT_SOURCE_DIR})
set(scratch ${CMAKE_CURRENT_BINARY_DIR}/project)
set(compilers ${CMAKE_C_COMPILER} ${CMAKE_CXX_COMPILER})

if(NOT QIP_SANITIZE) # compilers answer the same with it
    qip_add_script_test(project.headers_alone
        COMMAND ${here}/headers_alone.sh ${compilers} ${PROJECT_SOURCE_DIR})
    qip_add_script_test(project.refused_flags
        COMMAND ${here}/refused_flags.sh ${PROJECT_BINARY_DIR}/compile_commands.json)
endif()
qip_add_script_test(project.site_folder
    COMMAND ${here}/site_folder.sh ${PROJECT_SOURCE_DIR}/scripts/site ${scratch}/site_folder)
qip_add_script_test(project.vector_objects
    COMMAND ${here}/vector_objects.sh $<TARGET_OBJECTS:qip_gauss_objects>)
if(BUILD_SHARED_LIBS)
    foreach(library IN ITEMS qbase qip_gauss)
        qip_add_script_test(project.exports_of_${library}
            COMMAND ${here}/exports_match.sh $<TARGET_FILE:${library}>
                    ${PROJECT_SOURCE_DIR}/cmake/exports/lib${library}.txt)
    endforeach()
endif()

# The binaries as they are given away: compared with a second build for one compiler, since that takes a minute.
if(BUILD_SHARED_LIBS AND TARGET qip-smooth AND NOT QIP_SANITIZE)
    if(QIP_HARDENING)
        qip_add_script_test(project.hardening
            COMMAND ${here}/hardening.sh ${CMAKE_CXX_COMPILER} $<IF:$<CONFIG:Debug>,debug,optimised>
                    $<TARGET_FILE:qbase> $<TARGET_FILE:qip_gauss> $<TARGET_FILE:qip-smooth>
                    -- $<TARGET_OBJECTS:qbase_objects> $<TARGET_OBJECTS:qip_gauss_objects>)
    endif()
    if(CMAKE_BUILD_TYPE STREQUAL "Release" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT CMAKE_CROSSCOMPILING)
        qip_add_script_test(project.reproducible
            COMMAND ${here}/reproducible.sh ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR} ${scratch} ${CMAKE_INSTALL_LIBDIR}
                    -DCMAKE_BUILD_TYPE=${CMAKE_BUILD_TYPE} -DCMAKE_C_COMPILER=${CMAKE_C_COMPILER}
                    -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER} -DCMAKE_CXX_FLAGS=${CMAKE_CXX_FLAGS}
                    -DCMAKE_INSTALL_LIBDIR=${CMAKE_INSTALL_LIBDIR} -DQIP_HARDENING=${QIP_HARDENING})
        # By its cost it begins first, and the other tests run beside it.
        set_tests_properties(project.reproducible PROPERTIES TIMEOUT 1800 COST 1000)
    endif()
endif()

# A user's compiler links without a sanitizer's runtime, and a user's program runs where it was built, so these
# stand in the ordinary trees alone.
if(NOT QIP_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
    function(qip_add_readme_test name section)
        qip_add_script_test(project.readme_${name}
            COMMAND ${here}/readme_program.sh ${PROJECT_SOURCE_DIR} ${section} ${scratch}/readme_${name} ${ARGN}
                    -I${PROJECT_SOURCE_DIR}/include -I${PROJECT_SOURCE_DIR}/platform
                    $<TARGET_FILE:qip_gauss> $<TARGET_FILE:qbase>
                    -Wl,-rpath,$<TARGET_FILE_DIR:qip_gauss> -lstdc++ -lm -pthread)
    endfunction()
    qip_add_readme_test(c "From C" ${CMAKE_C_COMPILER} -std=c99)
    qip_add_readme_test(cpp "From C++" ${CMAKE_CXX_COMPILER} -std=c++17)
    find_package(OpenCV QUIET COMPONENTS core imgcodecs)
    if(OpenCV_FOUND)
        qip_add_readme_test(opencv "From OpenCV" ${CMAKE_CXX_COMPILER} -std=c++17 -isystem ${OpenCV_INCLUDE_DIRS}
                            -lopencv_imgcodecs -lopencv_core)
    endif()
    if(TARGET qip-smooth)
        qip_add_script_test(project.older_processors
            COMMAND ${here}/older_processors.sh $<TARGET_FILE:qip-smooth> ${PROJECT_SOURCE_DIR}/samples
                    ${scratch}/processors)
    endif()
    foreach(mode IN ITEMS installed embedded)
        set(tree ${PROJECT_BINARY_DIR})
        if(mode STREQUAL "embedded")
            set(tree ${PROJECT_SOURCE_DIR})
        endif()
        qip_add_script_test(project.consumer_${mode}
            COMMAND ${here}/consumer/run.sh ${mode} ${tree} ${scratch}/${mode} ${compilers})
    endforeach()
    set_tests_properties(project.consumer_embedded PROPERTIES COST 900) # it builds the libraries
endif()

# The Python module, as its users import it: from the build tree, and from a wheel.
if(TARGET qip_python AND NOT QIP_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
    set(run ${PROJECT_SOURCE_DIR}/python/tests/run.sh)
    set(package ${Python3_EXECUTABLE} ${PROJECT_BINARY_DIR}/python)
    qip_add_script_test(project.python COMMAND ${run} pytest ${package})
    qip_add_script_test(project.python_types COMMAND ${run} types ${package})
    qip_add_script_test(project.python_readme COMMAND ${run} readme ${package} ${PROJECT_SOURCE_DIR}/README.md)
    qip_add_script_test(project.python_wheel
        COMMAND ${run} wheel ${package} ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR} ${scratch}/wheel)
    set_tests_properties(project.python project.python_types PROPERTIES COST 500) # they take long on one processor
endif()
