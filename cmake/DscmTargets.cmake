# What every target of the project is built with, and the two helpers that make them.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

# -ffp-contract=off: a fused multiply-add rounds once where two roundings are meant, and the same
# photograph must give the same bytes on x86-64 and ARM64.
add_library(dscm_options INTERFACE)
target_compile_options(dscm_options INTERFACE -ffp-contract=off -Wall -Wextra -Wshadow
                       -Wdouble-promotion $<$<BOOL:${DSCM_WERROR}>:-Werror>)
target_include_directories(dscm_options INTERFACE ${PROJECT_SOURCE_DIR})

# Android runs on pages of 4 and of 16 KB.
if(CMAKE_SYSTEM_PROCESSOR STREQUAL aarch64)
  add_link_options(LINKER:-z,max-page-size=16384)
endif()

# dscm_layer(name SOURCES a.cpp ... LINKS dscm_below ...): one folder of the library.
function(dscm_layer name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINKS" ${ARGN})
  add_library(${name} STATIC ${arg_SOURCES})
  target_link_libraries(${name} PUBLIC dscm_options ${arg_LINKS})
endfunction()
