# The three shared libraries that are installed, from the objects of the folders.

function(ky_shared_library name)
    cmake_parse_arguments(ARG "" "" "OBJECTS;LIBS" ${ARGN})
    add_library(${name} SHARED ${ARG_OBJECTS})
    target_link_libraries(${name} PRIVATE ${ARG_LIBS})
    set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR} AUTOMOC OFF)
    target_link_options(${name} PRIVATE -Wl,-z,defs -Wl,--as-needed)
    if(KY_SANITIZE)
        target_link_options(${name} PRIVATE -Wl,-z,undefs)
    endif()
    add_library(KyNetwork::${name} ALIAS ${name})
endfunction()

ky_shared_library(KyCore OBJECTS $<TARGET_OBJECTS:ky_support> $<TARGET_OBJECTS:ky_host>
    $<TARGET_OBJECTS:ky_host_commands> LIBS Qt5::Core Qt5::Network Threads::Threads)
ky_shared_library(KySqlite OBJECTS $<TARGET_OBJECTS:ky_host_sqlite> LIBS Qt5::Core Qt5::Sql)

set(KY_LIBRARY_FOLDERS service clients ports network time inventory)
set(library_objects $<TARGET_OBJECTS:ky_support> $<TARGET_OBJECTS:ky_wire>)
foreach(folder IN LISTS KY_LIBRARY_FOLDERS)
    if(TARGET ky_${folder})
        list(APPEND library_objects $<TARGET_OBJECTS:ky_${folder}>)
    endif()
endforeach()
ky_shared_library(KyNetwork OBJECTS ${library_objects}
    LIBS KyCore KySqlite Qt5::Core Qt5::Network Qt5::SerialPort Threads::Threads)

# What a program of ours that uses the whole library links: the library and all include roots.
add_library(ky_all INTERFACE)
target_link_libraries(ky_all INTERFACE KyNetwork KyCore KySqlite Qt5::Core Qt5::Network
    Qt5::SerialPort ky_host_headers)
foreach(folder IN LISTS KY_LIBRARY_FOLDERS)
    target_link_libraries(ky_all INTERFACE ky_${folder}_headers)
endforeach()
