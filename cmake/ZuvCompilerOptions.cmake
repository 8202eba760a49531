# Warnings, sanitizers and the compiler cache for every target of the project.

find_program(ZUV_CCACHE ccache)
if(ZUV_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${ZUV_CCACHE}")
endif()

set(ZUV_SANITIZE "" CACHE STRING "Sanitizers for the whole build: '', 'address,undefined' or 'thread'")

add_library(zuv_warnings INTERFACE)
target_compile_options(zuv_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                              $<$<BOOL:${ZUV_WERROR}>:-Werror>)

if(ZUV_SANITIZE)
  add_compile_options(-fsanitize=${ZUV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${ZUV_SANITIZE})
endif()
