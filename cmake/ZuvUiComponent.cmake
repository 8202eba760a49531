# The component "ui" of the Zuv package: Zuv::zuv_ui and Qt 6 Widgets, which it needs. Loaded by
# ZuvConfig.cmake when zuv_ui is installed. find_package(Zuv COMPONENTS ui) requires Qt 6 Widgets;
# find_package(Zuv) without components gives Zuv::zuv_ui only when Qt 6 Widgets is found.

if(NOT Zuv_FIND_COMPONENTS OR "ui" IN_LIST Zuv_FIND_COMPONENTS)
  if("ui" IN_LIST Zuv_FIND_COMPONENTS)
    find_dependency(Qt6 COMPONENTS Widgets)
  else()
    find_package(Qt6 QUIET COMPONENTS Widgets)
  endif()
  if(Qt6Widgets_FOUND)
    include("${CMAKE_CURRENT_LIST_DIR}/ZuvUiTargets.cmake")
    set(Zuv_ui_FOUND TRUE)
  endif()
endif()
