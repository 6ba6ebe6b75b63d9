# cmake -DBUILD_DIR=... -DWORK_DIR=... -DCONSUMER_DIR=... -DHOST_SOURCE=... -DVERSION=...
#       -DC_COMPILER=... -DC_FLAGS=... -P CheckInstall.cmake
# Installs the build tree BUILD_DIR under WORK_DIR/prefix, then builds the C host HOST_SOURCE
# against it twice, with the build's architecture and sanitizer flags: once as a CMake project
# using find_package(ka_tagger), once with the compiler and pkg-config alone. Runs both. Fails on
# the first step that fails, with its output.

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${what} failed (${status}):\n${out}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

set(prefix "${WORK_DIR}/prefix")
file(REMOVE_RECURSE "${WORK_DIR}")
run("install" ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")

run("configuring the consumer" ${CMAKE_COMMAND} -S "${CONSUMER_DIR}" -B "${WORK_DIR}/build"
    "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_C_COMPILER=${C_COMPILER}" "-DCMAKE_C_FLAGS=${C_FLAGS}"
    "-DKA_EXPECTED_VERSION=${VERSION}" "-DKA_HOST_SOURCE=${HOST_SOURCE}")
run("building the consumer" ${CMAKE_COMMAND} --build "${WORK_DIR}/build")
run("running the find_package host" "${WORK_DIR}/build/c_host")

# pkg-config finds the file where the tree was installed; its paths follow the file.
file(GLOB_RECURSE pc_files "${prefix}/*/ka_tagger.pc")
list(LENGTH pc_files count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "expected one installed ka_tagger.pc, found: ${pc_files}")
endif()
get_filename_component(pc_dir "${pc_files}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} "${pc_dir}")
run("pkg-config" pkg-config --cflags --libs ka_tagger)
string(STRIP "${output}" pc_flags)
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
separate_arguments(flags UNIX_COMMAND "${C_FLAGS}")
run("pkg-config" pkg-config --variable=libdir ka_tagger)
string(STRIP "${output}" libdir)
run("building the pkg-config host" "${C_COMPILER}" ${flags} "${HOST_SOURCE}" ${pc_flags}
    "-Wl,-rpath,${libdir}" -o "${WORK_DIR}/pc_host")
run("running the pkg-config host" "${WORK_DIR}/pc_host")
file(REMOVE_RECURSE "${WORK_DIR}")
