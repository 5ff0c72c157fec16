# What `cmake --install` puts where: libraries with their SONAMEs, the headers of the interface
# (named by each folder under HEADERS), the CMake package and the pkg-config file. Programs are
# installed by the folders that make them.
include(CMakePackageConfigHelpers)

set(KY_PACKAGE_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/KyNetwork)

# A header includes others as "folder/Header.h".
foreach(library KyNetwork KyCore KySqlite)
    target_include_directories(${library} INTERFACE
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/kynetwork>)
endforeach()
target_link_libraries(KyNetwork INTERFACE Qt5::Core Qt5::Network Qt5::SerialPort)
target_link_libraries(KyCore INTERFACE Qt5::Core)
target_link_libraries(KySqlite INTERFACE Qt5::Core)

install(TARGETS KyNetwork KyCore KySqlite EXPORT KyNetworkTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT KyNetworkTargets NAMESPACE KyNetwork:: DESTINATION ${KY_PACKAGE_FOLDER})

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/KyNetworkConfig.cmake.in
    ${CMAKE_BINARY_DIR}/KyNetworkConfig.cmake INSTALL_DESTINATION ${KY_PACKAGE_FOLDER})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/KyNetworkConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/KyNetworkConfig.cmake
    ${CMAKE_BINARY_DIR}/KyNetworkConfigVersion.cmake DESTINATION ${KY_PACKAGE_FOLDER})

# The file finds its prefix from where it lies, so that a tree can be moved.
file(RELATIVE_PATH KY_PC_UP /p/${CMAKE_INSTALL_LIBDIR}/pkgconfig /p)
configure_file(${CMAKE_CURRENT_LIST_DIR}/kynetwork.pc.in ${CMAKE_BINARY_DIR}/kynetwork.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/kynetwork.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
