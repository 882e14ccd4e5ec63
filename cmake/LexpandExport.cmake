# How the programs of users find the installed engine: lexpand.pc for
# pkg-config, and a CMake package in which find_package(lexpand) gives
# lexpand::engine (liblexpand.so.0) and lexpand::engine_static (liblexpand.a).
include(CMakePackageConfigHelpers)
set(LEXPAND_CMAKE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/lexpand)

install(EXPORT lexpandTargets NAMESPACE lexpand:: DESTINATION ${LEXPAND_CMAKE_PACKAGE_DIR}
        COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/lexpandConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/lexpandConfig.cmake
                              INSTALL_DESTINATION ${LEXPAND_CMAKE_PACKAGE_DIR})
# Versions of one major version keep the ABI of liblexpand.so.<major>.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/lexpandConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/lexpandConfig.cmake ${PROJECT_BINARY_DIR}/lexpandConfigVersion.cmake
        DESTINATION ${LEXPAND_CMAKE_PACKAGE_DIR} COMPONENT development)

configure_file(${PROJECT_SOURCE_DIR}/cmake/lexpand.pc.in ${PROJECT_BINARY_DIR}/lexpand.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/lexpand.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)
