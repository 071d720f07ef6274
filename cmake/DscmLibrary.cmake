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
target_link_options(dscmatting PRIVATE
  LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map LINKER:--no-undefined)
target_include_directories(dscmatting INTERFACE ${PROJECT_SOURCE_DIR})
# The guard comes first: its definitions must be found before SuperLU's own.
target_link_libraries(dscmatting PRIVATE dscm_superlu_guard superlu::superlu)

add_library(dscmatting_static STATIC ${DSCM_OBJECTS} $<TARGET_OBJECTS:dscm_superlu_guard_static>)
set_target_properties(dscmatting_static PROPERTIES OUTPUT_NAME dscmatting LINKER_LANGUAGE CXX)
target_include_directories(dscmatting_static INTERFACE ${PROJECT_SOURCE_DIR})
target_link_libraries(dscmatting_static PRIVATE superlu::superlu)
