# Shows that the layers are enforced by the compiler: the strings layer of a scratch copy of the
# source tree builds as it is, and fails to build once a strings source includes a file-handle
# header, for want of that header.
#
# cmake -D SOURCE=<tree> -D SCRATCH=<folder> -D CXX=<compiler> -D GENERATOR=<generator>
#       -P ZuvLayerCheck.cmake
set(source "${SCRATCH}/source")
set(build "${SCRATCH}/build")
set(planted_in "${source}/zuv/strings/string_ops.cpp")
set(planted "zuv/files/file_handle.h")

file(REMOVE_RECURSE "${SCRATCH}")
file(GLOB entries LIST_DIRECTORIES true "${SOURCE}/*")
list(FILTER entries EXCLUDE REGEX "/(build|\\.git)$")
file(COPY ${entries} DESTINATION "${source}")

execute_process(
  COMMAND "${CMAKE_COMMAND}" -S "${source}" -B "${build}" -G "${GENERATOR}"
          -D "CMAKE_CXX_COMPILER=${CXX}" -D ZUV_BUILD_TESTS=OFF -D ZUV_BUILD_TOOLS=OFF
          -D ZUV_WERROR=ON
  OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "the scratch copy does not configure:\n${output}")
endif()

function(build_strings_layer result output)
  execute_process(
    COMMAND "${CMAKE_COMMAND}" --build "${build}" --target zuv_layer_strings
    OUTPUT_VARIABLE text ERROR_VARIABLE text RESULT_VARIABLE failed)
  set(${result} "${failed}" PARENT_SCOPE)
  set(${output} "${text}" PARENT_SCOPE)
endfunction()

build_strings_layer(failed output)
if(failed)
  message(FATAL_ERROR "the strings layer does not build as it is:\n${output}")
endif()

file(READ "${planted_in}" text)
file(WRITE "${planted_in}" "#include \"${planted}\"\n${text}")
build_strings_layer(failed output)
if(NOT failed)
  message(FATAL_ERROR "the strings layer builds although string_ops.cpp includes ${planted}")
endif()
if(NOT output MATCHES "${planted}: No such file")
  message(FATAL_ERROR "the strings layer fails to build, not for want of ${planted}:\n${output}")
endif()
file(REMOVE_RECURSE "${SCRATCH}")
