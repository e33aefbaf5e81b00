# Installs the library, its headers, a CMake package (Veltrane::Veltrane) and veltrane.pc.
include(CMakePackageConfigHelpers)

install(TARGETS Veltrane EXPORT VeltraneTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES Veltrane.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${VELTRANE_INCLUDE_SUBDIR})
# Beside core/Types.h, which includes it by its plain name.
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/generated/VeltraneExport.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${VELTRANE_INCLUDE_SUBDIR}/core)

set(VELTRANE_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Veltrane)
install(EXPORT VeltraneTargets NAMESPACE Veltrane:: DESTINATION ${VELTRANE_CMAKE_DIR})
configure_package_config_file(cmake/VeltraneConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/VeltraneConfig.cmake
  INSTALL_DESTINATION ${VELTRANE_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/VeltraneConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VeltraneConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/VeltraneConfigVersion.cmake
  DESTINATION ${VELTRANE_CMAKE_DIR})

# The .pc file finds its prefix from its own place, so an install under any --prefix stays usable.
file(RELATIVE_PATH VELTRANE_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/veltrane.pc.in ${CMAKE_CURRENT_BINARY_DIR}/veltrane.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/veltrane.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The documents a user reads beside the headers (the header comments point at them): share/doc/Veltrane.
file(GLOB VELTRANE_DOCUMENTS ${PROJECT_SOURCE_DIR}/docs/*.md)
install(FILES README.md ${VELTRANE_DOCUMENTS} DESTINATION ${CMAKE_INSTALL_DOCDIR})
