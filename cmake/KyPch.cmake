# Precompiled headers and a quick linker, for the builds that run tests (KY_FAST_BUILD). Reading
# Qt's headers is half of each compile, and linking a test program takes as long as compiling a
# small file. A build without it is what is packaged and measured: there a missing include fails.
if(KY_FAST_BUILD)
    find_program(KY_LLD ld.lld)
    if(KY_LLD)
        add_link_options(-fuse-ld=lld)
    endif()

    # ccache has to see which precompiled header a file uses.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fpch-preprocess>)
    endif()
endif()

# Nobody waits for the code of a test itself: it is compiled as quickly as possible.
set(KY_TEST_OPTIONS -O0 -g1)

# ky_precompile(target kind): lets the target use the headers of cmake/pch/<kind>.h. They are
# compiled once for each kind, with the options of whoever uses them.
function(ky_precompile target kind)
    if(NOT KY_FAST_BUILD)
        return()
    endif()
    if(NOT TARGET ky_pch_${kind})
        add_library(ky_pch_${kind} OBJECT ${CMAKE_SOURCE_DIR}/cmake/pch/Empty.cpp)
        set_target_properties(ky_pch_${kind} PROPERTIES AUTOMOC OFF AUTORCC OFF)
        target_link_libraries(ky_pch_${kind} PRIVATE Qt5::Core)
        if(kind STREQUAL "test")
            target_link_libraries(ky_pch_${kind} PRIVATE Qt5::Network Qt5::Test)
            target_compile_options(ky_pch_${kind} PRIVATE ${KY_TEST_OPTIONS})
        endif()
        ky_warnings(ky_pch_${kind})
        target_precompile_headers(ky_pch_${kind} PRIVATE ${CMAKE_SOURCE_DIR}/cmake/pch/${kind}.h)
    endif()
    target_precompile_headers(${target} REUSE_FROM ky_pch_${kind})
endfunction()
