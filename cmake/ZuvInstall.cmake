# Installs the headers, the library, the CMake package (find_package(Zuv) gives Zuv::zuv) and the
# pkg-config file (pkg-config --cflags --libs zuv); and zuv_ui, when it was built.

include(CMakePackageConfigHelpers)

install(TARGETS zuv EXPORT ZuvTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development)

set(ZUV_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/Zuv")
install(EXPORT ZuvTargets NAMESPACE Zuv:: DESTINATION "${ZUV_CMAKE_DIR}" COMPONENT Development)
configure_package_config_file(cmake/ZuvConfig.cmake.in "${PROJECT_BINARY_DIR}/ZuvConfig.cmake"
  INSTALL_DESTINATION "${ZUV_CMAKE_DIR}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/ZuvConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/ZuvConfig.cmake" "${PROJECT_BINARY_DIR}/ZuvConfigVersion.cmake"
  DESTINATION "${ZUV_CMAKE_DIR}" COMPONENT Development)

set(ZUV_PC_CFLAGS "")
if(NOT BUILD_SHARED_LIBS)
  set(ZUV_PC_CFLAGS "-DZUV_STATIC")
endif()

# The prefix is found from where the file lies, so the package works wherever it is installed
# (cmake --install --prefix).
file(RELATIVE_PATH ZUV_PC_PREFIX_FROM_PCDIR "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(cmake/zuv.pc.in "${PROJECT_BINARY_DIR}/zuv.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/zuv.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
  COMPONENT Development)

if(ZUV_BUILD_TOOLS)
  # The installed tool finds libzuv from where it lies, wherever the prefix is.
  file(RELATIVE_PATH ZUV_LIBDIR_FROM_BINDIR "${CMAKE_INSTALL_FULL_BINDIR}"
    "${CMAKE_INSTALL_FULL_LIBDIR}")
  set_target_properties(zuv_tool PROPERTIES INSTALL_RPATH "$ORIGIN/${ZUV_LIBDIR_FROM_BINDIR}")
  install(TARGETS zuv_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Tools)
endif()

if(TARGET zuv_ui)
  include(ZuvUiInstall)
endif()
