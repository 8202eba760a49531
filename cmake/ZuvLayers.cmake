# The library's layers as build targets, so that the compiler refuses an include that reaches up.
#
#   zuv_layer(NAME [BELOW LOWER] [HEADERS public.h...] [SOURCES file...] [LINK item...])
#
# makes the target zuv_layer_NAME: an object library of the .cpp files among SOURCES, or an
# interface library while the layer has none. Paths are relative to zuv/, wherever the call is
# made: "strings/string_data.h" for <zuv/strings/string_data.h>.
#
# The layer's sources do not see the repository root. They see an include root of the layer's own
# in the build tree, layers/NAME/zuv/..., holding symbolic links to its HEADERS and to the headers
# among its SOURCES (internal and platform ones), and, through the link to zuv_layer_LOWER, the
# roots of every layer below. A quote include first searches the including file's own folder,
# which holds no zuv/ folder, so "zuv/..." is found only in those roots.
#
# HEADERS are the public ones: each layer keeps them in its ZUV_PUBLIC_HEADERS target property,
# and the global property ZUV_PUBLIC_HEADERS lists those of every layer in the order the layers
# were made (absolute paths; the documentation reads it). LINK items go to target_link_libraries
# as they stand, with their PUBLIC or PRIVATE.
function(zuv_layer name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "BELOW" "HEADERS;SOURCES;LINK")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "zuv_layer(${name}): unknown arguments ${arg_UNPARSED_ARGUMENTS}")
  endif()
  set(target zuv_layer_${name})
  set(root "${PROJECT_BINARY_DIR}/layers/${name}")

  set(public "")
  set(headers "")
  set(sources "")
  foreach(file IN LISTS arg_HEADERS)
    cmake_path(ABSOLUTE_PATH file BASE_DIRECTORY "${PROJECT_SOURCE_DIR}/zuv" NORMALIZE)
    list(APPEND public "${file}")
    list(APPEND headers "${file}")
  endforeach()
  foreach(file IN LISTS arg_SOURCES)
    cmake_path(ABSOLUTE_PATH file BASE_DIRECTORY "${PROJECT_SOURCE_DIR}/zuv" NORMALIZE)
    if(file MATCHES "\\.h$")
      list(APPEND headers "${file}")
    else()
      list(APPEND sources "${file}")
    endif()
  endforeach()

  file(REMOVE_RECURSE "${root}")
  foreach(header IN LISTS headers)
    cmake_path(RELATIVE_PATH header BASE_DIRECTORY "${PROJECT_SOURCE_DIR}" OUTPUT_VARIABLE link)
    cmake_path(GET link PARENT_PATH folder)
    file(MAKE_DIRECTORY "${root}/${folder}")
    file(CREATE_LINK "${header}" "${root}/${link}" SYMBOLIC)
  endforeach()

  if(sources)
    add_library(${target} OBJECT ${sources} ${headers})
    set_target_properties(${target} PROPERTIES
      POSITION_INDEPENDENT_CODE ON
      CXX_VISIBILITY_PRESET hidden
      VISIBILITY_INLINES_HIDDEN ON)
    target_compile_definitions(${target} PRIVATE ZUV_BUILDING_LIBRARY)
    target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${root}>")
    target_link_libraries(${target} PRIVATE zuv_warnings)
    set(scope PUBLIC)
  else()
    add_library(${target} INTERFACE)
    target_include_directories(${target} INTERFACE "$<BUILD_INTERFACE:${root}>")
    set(scope INTERFACE)
  endif()
  if(arg_BELOW)
    target_link_libraries(${target} ${scope} zuv_layer_${arg_BELOW})
  endif()
  if(arg_LINK)
    target_link_libraries(${target} ${arg_LINK})
  endif()
  set_property(TARGET ${target} PROPERTY ZUV_PUBLIC_HEADERS "${public}")
  set_property(GLOBAL APPEND PROPERTY ZUV_PUBLIC_HEADERS "${public}")
endfunction()
