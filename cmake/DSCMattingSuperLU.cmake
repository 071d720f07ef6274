# Finds SuperLU through its own CMake package: target superlu::superlu; DSCM_SUPERLU_STATIC tells of
# which kind it is. Used by the project and, for the static library, by the installed package.
set(DSCM_SUPERLU_PREFIX "" CACHE PATH
    "Where SuperLU is installed, shared or static, also when cross-compiling; empty: where CMake finds it")
set(from_prefix)
if(DSCM_SUPERLU_PREFIX)
  set(from_prefix PATHS ${DSCM_SUPERLU_PREFIX} NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
endif()
find_package(superlu CONFIG QUIET ${from_prefix})

# A SuperLU built with its bundled BLAS (enable_internal_blaslib) installs a target `blas` that its
# package file does not load: it looks for a BLAS of the system, and gives up where there is none.
if(superlu_DIR AND EXISTS "${superlu_DIR}/blasTargets.cmake")
  foreach(target blas superlu)
    if(NOT TARGET ${target} AND NOT TARGET superlu::${target})
      include("${superlu_DIR}/${target}Targets.cmake")
    endif()
  endforeach()
endif()

set(DSCM_SUPERLU_STATIC OFF)
if(TARGET superlu::superlu)
  get_target_property(DSCM_SUPERLU_TYPE superlu::superlu TYPE)
  get_target_property(DSCM_SUPERLU_FILE superlu::superlu LOCATION)
  if(DSCM_SUPERLU_TYPE STREQUAL "STATIC_LIBRARY" OR DSCM_SUPERLU_FILE MATCHES "\\.a$")
    set(DSCM_SUPERLU_STATIC ON)
  endif()
endif()
