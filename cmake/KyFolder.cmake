# One target for each folder, with an include root that holds that folder alone: what a folder
# does not name under USES it cannot include.

function(ky_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic
        $<$<BOOL:${KY_WERROR}>:-Werror>)
    target_compile_definitions(${target} PRIVATE QT_NO_CAST_TO_ASCII QT_NO_FOREACH
        QT_MESSAGELOGCONTEXT)
endfunction()

if(KY_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined
        -fno-omit-frame-pointer -O1)
    add_link_options(-fsanitize=address,undefined)
endif()

# Coverage for the fuzzer, in all code that a target reaches.
if(KY_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# The include root of a folder, as an interface target `ky_<name>_headers`.
function(ky_include_root name)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/roots/${name})
    if(NOT EXISTS ${CMAKE_BINARY_DIR}/roots/${name}/${name})
        file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${CMAKE_BINARY_DIR}/roots/${name}/${name}
            SYMBOLIC)
    endif()
    add_library(ky_${name}_headers INTERFACE)
    target_include_directories(ky_${name}_headers INTERFACE ${CMAKE_BINARY_DIR}/roots/${name})
endfunction()

# ky_folder(name SOURCES a.cpp … USES folder … LIBS Qt5::Network … [HEADERS A.h …])
# Makes the object library ky_<name>. USES gives the headers of other folders only: which objects
# come into a program is decided where it is linked, so a test can replace a folder. HEADERS are
# those of the interface: they are installed, our own helpers are not.
function(ky_folder name)
    cmake_parse_arguments(ARG "" "" "SOURCES;USES;LIBS;HEADERS" ${ARGN})
    ky_include_root(${name})
    list(TRANSFORM ARG_USES REPLACE "(.+)" "ky_\\1_headers" OUTPUT_VARIABLE used_headers)
    target_link_libraries(ky_${name}_headers INTERFACE ${used_headers} ${ARG_LIBS} Qt5::Core)
    if(ARG_HEADERS)
        install(FILES ${ARG_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kynetwork/${name})
    endif()
    if(ARG_SOURCES)
        add_library(ky_${name} OBJECT ${ARG_SOURCES})
        target_link_libraries(ky_${name} PUBLIC ky_${name}_headers Threads::Threads)
        ky_warnings(ky_${name})
        ky_precompile(ky_${name} library)
    endif()
endfunction()
