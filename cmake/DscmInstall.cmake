# What `cmake --install` and `cpack` hand over: headers, libraries, the program matte, a CMake package and a
# pkg-config file. Nothing installed holds a path of the build or of the prefix.
include(CMakePackageConfigHelpers)

# The public headers, installed below include/dscmatting under these paths.
set(DSCM_PUBLIC_HEADERS
  ff/api.h ff/components_color.h ff/distance_field.h ff/filters.h ff/image.h ff/image_ops.h ff/raster.h
  ff/raster_ops.h ff/resamplers.h
  matting/color/fb_color.h matting/color/improve_foreground.h
  matting/edit/brush.h matting/edit/cleanup.h
  matting/facade/dsc_matting.h
  matting/geoseg/geoseg.h
  matting/sampling/dsam.h matting/sampling/usam.h
  matting/solver/mat_data.h matting/solver/mat_solve.h matting/solver/mat_system.h
  matting/solver/sparse_solve.h
  matting/trimap/distance_transform.h matting/trimap/trimap.h)
foreach(header ${DSCM_PUBLIC_HEADERS})
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/dscmatting/${folder})
endforeach()

# --- libraries and program

set(DSCM_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/DSCMatting)
install(TARGETS dscmatting EXPORT DSCMattingTargets)
if(TARGET dscm_superlu_guard)  # nobody links it by name
  install(TARGETS dscm_superlu_guard EXPORT DSCMattingTargets LIBRARY NAMELINK_SKIP)
endif()
install(TARGETS dscmatting_static EXPORT DSCMattingStaticTargets)
# Apart, since only the static library's user needs SuperLU's package.
foreach(kind "" Static)
  install(EXPORT DSCMatting${kind}Targets NAMESPACE DSCMatting:: DESTINATION ${DSCM_PACKAGE_DIR})
endforeach()

if(TARGET matte)
  file(RELATIVE_PATH bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(matte PROPERTIES INSTALL_RPATH $ORIGIN/${bin_to_lib})
  install(TARGETS matte)
endif()

# --- CMake package

configure_package_config_file(cmake/DSCMattingConfig.cmake.in ${PROJECT_BINARY_DIR}/DSCMattingConfig.cmake
  INSTALL_DESTINATION ${DSCM_PACKAGE_DIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/DSCMattingConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/DSCMattingConfig.cmake
  ${PROJECT_BINARY_DIR}/DSCMattingConfigVersion.cmake cmake/DSCMattingSuperLU.cmake
  DESTINATION ${DSCM_PACKAGE_DIR})

# --- pkg-config file

# What a linker is told to link SuperLU: a static one by file, with all it needs in turn.
function(dscm_superlu_link_flags result)
  if(NOT DSCM_SUPERLU_STATIC)
    cmake_path(GET DSCM_SUPERLU_FILE PARENT_PATH folder)
    set(flags "-L${folder} -lsuperlu")
    if(folder IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES OR folder MATCHES "^/usr/lib")
      set(flags -lsuperlu)
    endif()
  else()
    get_target_property(flags dscm_superlu_guard_static INTERFACE_LINK_OPTIONS)
    list(TRANSFORM flags REPLACE "^LINKER:" "-Wl,")
    list(APPEND flags ${DSCM_SUPERLU_FILE})
    get_target_property(items superlu::superlu INTERFACE_LINK_LIBRARIES)
    foreach(item ${items})
      string(REGEX REPLACE "^\\$<LINK_ONLY:(.*)>$" "\\1" item "${item}")
      if(TARGET ${item})
        get_target_property(item ${item} LOCATION)
      elseif(NOT item MATCHES "^[-/]")
        set(item -l${item})
      endif()
      list(APPEND flags ${item})
    endforeach()
  endif()
  list(JOIN flags " " flags)
  set(${result} "${flags}" PARENT_SCOPE)
endfunction()

dscm_superlu_link_flags(DSCM_LIBS_PRIVATE)
cmake_path(SET pkgconfig_dir ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH DSCM_PKGCONFIG_TO_PREFIX ${pkgconfig_dir} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" DSCM_PKGCONFIG_TO_PREFIX ${DSCM_PKGCONFIG_TO_PREFIX})
configure_file(cmake/dscmatting.pc.in ${PROJECT_BINARY_DIR}/dscmatting.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/dscmatting.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# --- documents

install(FILES README.md CHANGELOG.md LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/dscmatting)

# --- Debian package (cpack -G DEB)

# Debian wants the licence under this name.
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/dscmatting RENAME copyright)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME dscmatting)
set(CPACK_PACKAGE_CONTACT "The DSCMatting developers <dscmatting@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "image matting for camera applications")
set(CPACK_PACKAGE_DESCRIPTION
  "Makes alpha mattes of photographs from a rough idea of the subject, such as the
person mask of a phone's segmenter. Holds the program matte, the library, shared
and static, and its headers.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
# The guard is looked for in the package itself.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "libsuperlu-dev")
include(CPack)
