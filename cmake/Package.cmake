# Installing: library, headers, CMake package, pkg-config file.
include(CMakePackageConfigHelpers)

set(KIV_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/KIV)

install(TARGETS kiv EXPORT KIVTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
foreach(header IN LISTS KIV_PUBLIC_HEADERS)
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES kiv/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kiv/${folder})
endforeach()

install(EXPORT KIVTargets NAMESPACE KIV:: DESTINATION ${KIV_PACKAGE_DIR})
configure_package_config_file(cmake/KIVConfig.cmake.in ${PROJECT_BINARY_DIR}/KIVConfig.cmake
    INSTALL_DESTINATION ${KIV_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KIVConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KIVConfig.cmake ${PROJECT_BINARY_DIR}/KIVConfigVersion.cmake
    DESTINATION ${KIV_PACKAGE_DIR})

# The file is found wherever the tree is installed: its paths start from its own place.
file(RELATIVE_PATH KIV_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/kiv.pc.in ${PROJECT_BINARY_DIR}/kiv.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kiv.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
