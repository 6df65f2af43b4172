# What a host developer gets from `cmake --install` (or the Debian packages cpack builds): the
# plug-in and libvyr with their SONAMEs, the host and helper headers, a CMake package with
# imported targets, a pkg-config file, the command-line program, the documentation, the example
# scenes and the minimal host example.
include(CMakePackageConfigHelpers)

set(VEXAKELO_SOVERSION ${PROJECT_VERSION_MAJOR})
set_target_properties(vyr PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${VEXAKELO_SOVERSION})
# The plug-in is also the home of the helper classes a host links against.
set_target_properties(vexakelo PROPERTIES VERSION ${PROJECT_VERSION}
                                          SOVERSION ${VEXAKELO_SOVERSION}
                                          EXPORT_NAME helpers
                                          INSTALL_RPATH "$ORIGIN")

install(TARGETS vyr vexakelo EXPORT vexakeloTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
install(DIRECTORY include/vyr DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
# The reference host's own interface (textures and uniforms a host application reads back).
install(FILES host/vyr/vyr_host.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vyr COMPONENT dev)
install(FILES photometry/ies_file.h photometry/intensity_color_tool.h helpers/ocean_helper.h
              helpers/landscape_helper.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vexakelo COMPONENT dev)

set(VEXAKELO_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vexakelo)
install(EXPORT vexakeloTargets NAMESPACE vexakelo:: DESTINATION ${VEXAKELO_CMAKE_DIR}
        COMPONENT dev)
set(VEXAKELO_PLUGIN_NAME libvexakelo.so.${VEXAKELO_SOVERSION})
configure_package_config_file(cmake/vexakeloConfig.cmake.in
    ${CMAKE_BINARY_DIR}/vexakeloConfig.cmake INSTALL_DESTINATION ${VEXAKELO_CMAKE_DIR}
    PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_DATADIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/vexakeloConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/vexakeloConfig.cmake
              ${CMAKE_BINARY_DIR}/vexakeloConfigVersion.cmake
        DESTINATION ${VEXAKELO_CMAKE_DIR} COMPONENT dev)
# The prefix relative to the .pc file, so the package can be installed under any prefix.
file(RELATIVE_PATH VEXAKELO_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" VEXAKELO_PC_TO_PREFIX "${VEXAKELO_PC_TO_PREFIX}")
configure_file(cmake/vexakelo.pc.in ${CMAKE_BINARY_DIR}/vexakelo.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/vexakelo.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT dev)

install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime
        PATTERN "scenes" EXCLUDE)
install(DIRECTORY scenes/ DESTINATION ${CMAKE_INSTALL_DATADIR}/vexakelo/scenes COMPONENT runtime)
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT dev)

# Debian packages: libvexakelo (the plug-in, libvyr, the program, docs and scenes) and
# libvexakelo-dev (headers, the CMake package, pkg-config and the example).
set(CPACK_PACKAGE_NAME vexakelo)
set(CPACK_PACKAGE_VENDOR "vexakelo")
set(CPACK_PACKAGE_CONTACT "vexakelo maintainers <maintainers@vexakelo.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Shader plug-in library for a host ray tracer")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvexakelo)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libvexakelo-dev)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libvexakelo (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "vexakelo maintainers")
include(CPack)
