# The library itself, shared and static, gathered from the objects of its folders.

set(DSCM_LAYERS dscm_ff dscm_solver dscm_sampling dscm_edit dscm_trimap dscm_color dscm_geoseg dscm_facade)
foreach(layer ${DSCM_LAYERS})
  list(APPEND DSCM_OBJECTS $<TARGET_OBJECTS:${layer}>)
endforeach()

add_library(dscmatting SHARED ${DSCM_OBJECTS})
set_target_properties(dscmatting PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINKER_LANGUAGE CXX
  BUILD_RPATH $ORIGIN INSTALL_RPATH $ORIGIN
  LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/exports.map)
# --exclude-libs: what comes from archives, such as a static SuperLU and its BLAS, stays inside.
target_link_options(dscmatting PRIVATE
  LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map LINKER:--no-undefined
  LINKER:--exclude-libs,ALL)
if(DSCM_SUPERLU_STATIC)
  target_link_libraries(dscmatting PRIVATE dscm_superlu_guard_static superlu::superlu)
else()
  # The guard comes first: its definitions must be found before SuperLU's own. SuperLU's BLAS is left to
  # SuperLU: where libblas.so is OpenBLAS's, --no-undefined would turn its need of blas_memory_alloc on us
  # in builds with the sanitizers.
  target_link_libraries(dscmatting PRIVATE dscm_superlu_guard $<TARGET_LINKER_FILE:superlu::superlu>)
  # A SuperLU in a prefix of its own is found there after installation, too.
  set_target_properties(dscmatting PROPERTIES INSTALL_RPATH_USE_LINK_PATH ON)
endif()

add_library(dscmatting_static STATIC ${DSCM_OBJECTS} $<TARGET_OBJECTS:dscm_superlu_guard_static>)
set_target_properties(dscmatting_static PROPERTIES OUTPUT_NAME dscmatting LINKER_LANGUAGE CXX)
target_link_libraries(dscmatting_static PRIVATE superlu::superlu)
if(DSCM_SUPERLU_STATIC)
  get_target_property(wrap dscm_superlu_guard_static INTERFACE_LINK_OPTIONS)
  target_link_options(dscmatting_static INTERFACE ${wrap})
endif()

foreach(library dscmatting dscmatting_static)
  target_include_directories(${library} INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/dscmatting>)
endforeach()
