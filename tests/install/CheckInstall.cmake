# cmake -DBUILD_DIR=... -DWORK_DIR=... -DCONSUMER_DIR=... -DVERSION=... -DC_FLAGS=... -P CheckInstall.cmake
# Installs the build tree BUILD_DIR under WORK_DIR/prefix, then configures and builds the consumer
# project against it with the build's architecture and sanitizer flags. Fails on the first step
# that fails, with its output.

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${what} failed (${status}):\n${out}")
  endif()
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
run("install" ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${WORK_DIR}/prefix")
run("configuring the consumer" ${CMAKE_COMMAND} -S "${CONSUMER_DIR}" -B "${WORK_DIR}/build"
    "-DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix" "-DCMAKE_C_FLAGS=${C_FLAGS}"
    "-DKA_EXPECTED_VERSION=${VERSION}")
run("building the consumer" ${CMAKE_COMMAND} --build "${WORK_DIR}/build")
file(REMOVE_RECURSE "${WORK_DIR}")
