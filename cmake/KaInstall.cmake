# Installation of the project: programs to bin; shared libraries (with their sonames) to lib with
# their headers; a CMake config package, so that find_package(ka_tagger) gives ka_tagger::<target>
# imported targets; a pkg-config file, ka_tagger.pc, for the libraries a host links; and a Debian
# package of all of it for the build's architecture (cpack -G DEB).
#
# Targets register where they are defined, and the top-level CMakeLists.txt calls
# ka_install_finish() once, after every subdirectory, to write the rules:
#
#   ka_install_program(<target>)
#   ka_install_library(<target> [PKG_CONFIG] [HEADER_DIRS <dir>...] [HEADERS <file>...]
#                      [HEADER_PREFIX <folder>])
#
# ka_install_library takes shared, static and header-only (INTERFACE) libraries. Each folder in
# HEADER_DIRS is installed as include/<HEADER_PREFIX>/<its name> with the .h files under it
# (platform/vesta/vesta becomes include/vesta); each file in HEADERS goes to
# include/<HEADER_PREFIX>. Headers keep the include paths the sources use. PKG_CONFIG puts the
# library in the Libs line of ka_tagger.pc. Include folders the target gives its users are rewritten to hold in
# the build tree only; the installed targets use include instead.

include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(KA_PACKAGE_MAINTAINER "ka tagger maintainers <maintainers@example.invalid>"
    CACHE STRING "Maintainer named in the Debian package")

function(ka_install_program target)
  set_property(GLOBAL APPEND PROPERTY KA_INSTALL_PROGRAMS ${target})
endfunction()

function(ka_install_library target)
  cmake_parse_arguments(ARG "PKG_CONFIG" "HEADER_PREFIX" "HEADER_DIRS;HEADERS" ${ARGN})
  set_property(GLOBAL APPEND PROPERTY KA_INSTALL_LIBRARIES ${target})
  if(ARG_PKG_CONFIG)
    set_property(GLOBAL APPEND PROPERTY KA_INSTALL_PKG_CONFIG_LIBRARIES ${target})
  endif()

  # Headers are installed from here, where relative folders name the caller's sources.
  set(include_dir ${CMAKE_INSTALL_INCLUDEDIR})
  if(ARG_HEADER_PREFIX)
    string(APPEND include_dir "/${ARG_HEADER_PREFIX}")
  endif()
  foreach(dir IN LISTS ARG_HEADER_DIRS)
    get_filename_component(dir "${dir}" ABSOLUTE)
    install(DIRECTORY "${dir}" DESTINATION ${include_dir} FILES_MATCHING PATTERN "*.h")
  endforeach()
  if(ARG_HEADERS)
    install(FILES ${ARG_HEADERS} DESTINATION ${include_dir})
  endif()

  # An exported target may not carry source-tree folders to its users.
  get_target_property(dirs ${target} INTERFACE_INCLUDE_DIRECTORIES)
  if(dirs)
    set(wrapped "")
    foreach(dir IN LISTS dirs)
      if(dir MATCHES "^\\$<")
        list(APPEND wrapped "${dir}")
      else()
        list(APPEND wrapped "$<BUILD_INTERFACE:${dir}>")
      endif()
    endforeach()
    set_property(TARGET ${target} PROPERTY INTERFACE_INCLUDE_DIRECTORIES "${wrapped}")
  endif()

  get_target_property(type ${target} TYPE)
  if(type STREQUAL "SHARED_LIBRARY")
    get_target_property(soversion ${target} SOVERSION)
    if(NOT soversion)
      set_target_properties(${target} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
    endif()
    # Libraries that load one another find each other beside themselves wherever installed.
    get_target_property(rpath ${target} INSTALL_RPATH)
    if(NOT rpath)
      set_property(TARGET ${target} PROPERTY INSTALL_RPATH "$ORIGIN")
    endif()
  endif()
endfunction()

# Writes the install rules, the config package, the pkg-config file and the CPack settings for
# every target registered so far.
function(ka_install_finish)
  get_property(programs GLOBAL PROPERTY KA_INSTALL_PROGRAMS)
  get_property(libraries GLOBAL PROPERTY KA_INSTALL_LIBRARIES)
  get_property(pc_libraries GLOBAL PROPERTY KA_INSTALL_PKG_CONFIG_LIBRARIES)
  set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ka_tagger)

  if(libraries)
    # Installed programs find the installed libraries without LD_LIBRARY_PATH, in any prefix.
    file(RELATIVE_PATH to_lib "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
    foreach(program IN LISTS programs)
      get_target_property(rpath ${program} INSTALL_RPATH)
      if(NOT rpath)
        set_property(TARGET ${program} PROPERTY INSTALL_RPATH "$ORIGIN/${to_lib}")
      endif()
    endforeach()
  endif()

  install(TARGETS ${programs} EXPORT ka_taggerTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  if(libraries)
    install(TARGETS ${libraries} EXPORT ka_taggerTargets
      LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
      ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
      INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  endif()
  install(EXPORT ka_taggerTargets NAMESPACE ka_tagger:: DESTINATION ${config_dir})

  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ka_taggerConfig.cmake.in
    ${PROJECT_BINARY_DIR}/ka_taggerConfig.cmake INSTALL_DESTINATION ${config_dir})
  # The compiler was identified before -m32 was added, so the i386 build says its pointer size
  # here; a 64-bit user must not accept 32-bit libraries, nor the other way round.
  if(KA_ARCH STREQUAL "i386")
    set(CMAKE_SIZEOF_VOID_P 4)
  else()
    set(CMAKE_SIZEOF_VOID_P 8)
  endif()
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/ka_taggerConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/ka_taggerConfig.cmake
                ${PROJECT_BINARY_DIR}/ka_taggerConfigVersion.cmake
          DESTINATION ${config_dir})

  if(pc_libraries)
    set(libs "")
    foreach(library IN LISTS pc_libraries)
      string(APPEND libs " -l$<TARGET_LINKER_FILE_BASE_NAME:${library}>")
    endforeach()
    # Relative to the file's own folder, so the tree can be installed under any prefix.
    file(RELATIVE_PATH to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
    string(REGEX REPLACE "/$" "" to_prefix "${to_prefix}")
    configure_file(${PROJECT_SOURCE_DIR}/cmake/ka_tagger.pc.in
                   ${PROJECT_BINARY_DIR}/ka_tagger.pc.configured @ONLY)
    file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/ka_tagger.pc
                  INPUT ${PROJECT_BINARY_DIR}/ka_tagger.pc.configured)
    install(FILES ${PROJECT_BINARY_DIR}/ka_tagger.pc
            DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  endif()

  # One Debian package with everything, named and made for the build's architecture. Its
  # dependencies are written out because dpkg-shlibdeps would name the 64-bit system's
  # lib32 compatibility packages for an i386 build.
  if(KA_ARCH STREQUAL "i386")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE i386)
  else()
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
  endif()
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGE_NAME ka-tagger)
  set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
  set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
      "live data items by URL for host programs: libraries, headers and the katag tool")
  set(CPACK_PACKAGE_CONTACT "${KA_PACKAGE_MAINTAINER}")
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION devel)
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libgcc-s1, libstdc++6, libmosquitto1")
  set(CPACK_STRIP_FILES ON)
  if(KA_SANITIZE)
    message(STATUS "cpack: this tree is built with ${KA_SANITIZE} sanitizers; "
                   "package a tree built without them")
  endif()
  include(CPack)
endfunction()
