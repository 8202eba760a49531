# Debian packages of the install components: `cpack -G DEB` in the build folder writes them to
# packages/. One package per component:
#   Runtime       libzuv1        the shared library (named after its soname, libzuv.so.1)
#   Development   libzuv-dev     headers, CMake package, zuv.pc (and libzuv.a in a static build)
#   Tools         zuv-tools      the zuv command
#   UiRuntime     libzuv-ui1     the Qt widgets library, when it is built
#   UiDevelopment libzuv-ui-dev  its headers and CMake files
# Library dependencies come from dpkg-shlibdeps; the packages of one build depend on each other at
# exactly their version. Included after every install() rule.

set(ZUV_PACKAGE_MAINTAINER "Zuv maintainers <maintainers@users.noreply.c-seed-d55d8297.example>"
  CACHE STRING "Maintainer field of the Debian packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zuv)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "${ZUV_PACKAGE_MAINTAINER}")
# Each package's synopsis is the first line of its component's description below.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_OUTPUT_FILE_PREFIX packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The tool's libzuv.so.1 is in no installed package yet: dpkg-shlibdeps finds it in the build and
# the Tools -> Runtime component dependency names its package.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
# Packages built against libzuv1 depend on this version or a later one of the same soname.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME "libzuv${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzuv-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zuv-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_UIRUNTIME_PACKAGE_NAME "libzuv-ui${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_UIRUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_UIDEVELOPMENT_PACKAGE_NAME libzuv-ui-dev)
set(CPACK_DEBIAN_UIDEVELOPMENT_PACKAGE_SECTION libdevel)

# pkg-config resolves the Requires.private of zuv.pc (ICU, libmount, GIO, xxHash) even for a shared
# link; a static library's CMake package also needs them, found through pkg-config. libzuv1's
# dependencies on the shared libraries (libxxhash0 among them) come from dpkg-shlibdeps.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libicu-dev, libmount-dev, libglib2.0-dev, libxxhash-dev")
if(NOT BUILD_SHARED_LIBS)
  string(APPEND CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ", pkgconf | pkg-config")
endif()
set(CPACK_DEBIAN_UIDEVELOPMENT_PACKAGE_DEPENDS "qt6-base-dev")

# A static build has no library packages: its archives are development files.
if(BUILD_SHARED_LIBS)
  set(ZUV_LIBRARY_COMPONENT Runtime)
  set(ZUV_UI_LIBRARY_COMPONENT UiRuntime)
endif()
get_cmake_property(ZUV_INSTALL_COMPONENTS COMPONENTS)
set(CPACK_COMPONENTS_ALL ${ZUV_LIBRARY_COMPONENT} Development)
foreach(component IN ITEMS Tools ${ZUV_UI_LIBRARY_COMPONENT} UiDevelopment)
  if(component IN_LIST ZUV_INSTALL_COMPONENTS)
    list(APPEND CPACK_COMPONENTS_ALL ${component})
  endif()
endforeach()

include(CPack)

cpack_add_component(Runtime DESCRIPTION "Zuv runtime support library
Zuv is the runtime support library of a desktop photo-management application:
text values in several encodings, paths, file handles and volumes, file
operations, time, threads and locks. This package holds the shared library.")
cpack_add_component(Development DEPENDS ${ZUV_LIBRARY_COMPONENT} DESCRIPTION
  "Zuv runtime support library - development files
The headers of Zuv, its CMake package (find_package(Zuv) gives Zuv::zuv) and
its pkg-config file (zuv).")
cpack_add_component(Tools DEPENDS ${ZUV_LIBRARY_COMPONENT} DESCRIPTION "zuv command-line tool
Shows what the Zuv library makes of text, times, paths and files, and runs its
file operations.")
cpack_add_component(UiRuntime DEPENDS ${ZUV_LIBRARY_COMPONENT} DESCRIPTION
  "Zuv user-interface library
The Qt widgets of the Zuv library. This package holds the shared library.")
cpack_add_component(UiDevelopment DEPENDS ${ZUV_UI_LIBRARY_COMPONENT} Development DESCRIPTION
  "Zuv user-interface library - development files
The headers and CMake files of the Zuv Qt widgets library.")
