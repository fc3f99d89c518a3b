# Installs the library, its companion, the headers, the CMake package and the pkg-config files.
include(CMakePackageConfigHelpers)

set(KIV_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/KIV)

install(TARGETS kiv kiv_companion EXPORT KIVTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
foreach(header IN LISTS KIV_PUBLIC_HEADERS KIV_COMPANION_HEADERS KIV_COMPANION_INTERNAL_HEADERS)
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES kiv/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kiv/${folder})
endforeach()

install(EXPORT KIVTargets NAMESPACE KIV:: DESTINATION ${KIV_PACKAGE_DIR})
configure_package_config_file(cmake/KIVConfig.cmake.in ${PROJECT_BINARY_DIR}/KIVConfig.cmake
    INSTALL_DESTINATION ${KIV_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KIVConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KIVConfig.cmake ${PROJECT_BINARY_DIR}/KIVConfigVersion.cmake
    DESTINATION ${KIV_PACKAGE_DIR})

# The paths in the pkg-config files are relative to the place of these files. The installed tree can therefore be moved. Exception:
# absolute paths that the builder has given stay absolute.
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR} OR IS_ABSOLUTE ${CMAKE_INSTALL_INCLUDEDIR})
    set(KIV_PC_LIBDIR ${CMAKE_INSTALL_FULL_LIBDIR})
    set(KIV_PC_INCLUDEDIR ${CMAKE_INSTALL_FULL_INCLUDEDIR})
    set(KIV_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
else()
    file(RELATIVE_PATH toPrefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
    set(KIV_PC_PREFIX \${pcfiledir}/${toPrefix})
    set(KIV_PC_LIBDIR \${prefix}/${CMAKE_INSTALL_LIBDIR})
    set(KIV_PC_INCLUDEDIR \${prefix}/${CMAKE_INSTALL_INCLUDEDIR})
endif()
foreach(file kiv.pc kiv-companion.pc)
    configure_file(cmake/${file}.in ${PROJECT_BINARY_DIR}/${file} @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${file} DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
