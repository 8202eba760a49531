# Installs zuv_ui: its header, the library (Zuv::zuv_ui, in ZuvUiTargets.cmake, loaded by the
# package's config through ZuvUiComponent.cmake) and zuv-ui.pc. Included by ZuvInstall.cmake when
# the target exists. The files go to the components UiRuntime and UiDevelopment.

install(TARGETS zuv_ui EXPORT ZuvUiTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT UiRuntime NAMELINK_COMPONENT UiDevelopment
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT UiDevelopment
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT UiRuntime
  FILE_SET HEADERS COMPONENT UiDevelopment)
install(EXPORT ZuvUiTargets NAMESPACE Zuv:: DESTINATION "${ZUV_CMAKE_DIR}" COMPONENT UiDevelopment)
install(FILES cmake/ZuvUiComponent.cmake DESTINATION "${ZUV_CMAKE_DIR}" COMPONENT UiDevelopment)

configure_file(cmake/zuv-ui.pc.in "${PROJECT_BINARY_DIR}/zuv-ui.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/zuv-ui.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
  COMPONENT UiDevelopment)
