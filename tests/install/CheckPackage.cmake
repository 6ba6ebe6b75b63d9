# cmake -DBUILD_DIR=... -DWORK_DIR=... -DARCHITECTURE=i386|amd64 -P CheckPackage.cmake
# Makes the Debian package of the build tree BUILD_DIR with cpack and checks that it is made for
# ARCHITECTURE and holds the libraries with their sonames, the headers, the config package, the
# pkg-config file and katag.

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${what} failed (${status}):\n${out}${err}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
run("cpack" cpack -G DEB --config "${BUILD_DIR}/CPackConfig.cmake" -B "${WORK_DIR}")
file(GLOB debs "${WORK_DIR}/*.deb")
list(LENGTH debs count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "expected one package, found: ${debs}")
endif()

run("reading the package's fields" dpkg-deb --field "${debs}" Package Architecture Depends)
foreach(expected "Package: ka-tagger" "Architecture: ${ARCHITECTURE}" "libmosquitto1")
  string(FIND "${output}" "${expected}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "the package's fields lack '${expected}':\n${output}")
  endif()
endforeach()

run("listing the package" dpkg-deb --contents "${debs}")
foreach(expected
    "/usr/bin/katag"
    "/usr/include/gxhost/gxhost.h"
    "/usr/include/ka/kor/FlexData.h"
    "/usr/include/ka/tagger/gx/ka_tagger_gx.h"
    "/usr/include/vesta/VestaRealTime.h"
    "ka_taggerConfig.cmake"
    "ka_tagger.pc"
    "libgxhost.so.1 ->"
    "libka_tagger_gx.so.1 ->"
    "libqbrealt.so.1 ->"
    "libqbsock.so.1 ->")
  string(FIND "${output}" "${expected}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "the package lacks '${expected}':\n${output}")
  endif()
endforeach()
file(REMOVE_RECURSE "${WORK_DIR}")
