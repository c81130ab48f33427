# Installs the built tree into a fresh prefix, then configures, builds and runs a small consumer
# against it twice: once through find_package(kxCore CONFIG), once through pkg-config.
file(REMOVE_RECURSE ${KX_WORK_DIR})
set(prefix ${KX_WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "command failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  set(LAST_OUTPUT "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${KX_BUILD_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${KX_CONSUMER_DIR} -B ${KX_WORK_DIR}/build
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_FLAGS=${KX_CXX_FLAGS})
run(${CMAKE_COMMAND} --build ${KX_WORK_DIR}/build)
run(${KX_WORK_DIR}/build/consumer)
if(NOT LAST_OUTPUT MATCHES "3.333333333333333")
  message(FATAL_ERROR "consumer printed an unexpected text: ${LAST_OUTPUT}")
endif()

# pkg-config route: the same source, compiled by hand with the flags kxcore.pc gives.
set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig:${prefix}/lib/x86_64-linux-gnu/pkgconfig)
run(pkg-config --cflags --libs kxcore)
string(STRIP "${LAST_OUTPUT}" pcflags)
separate_arguments(pcflags UNIX_COMMAND "${pcflags}")
separate_arguments(extra UNIX_COMMAND "${KX_CXX_FLAGS}")
run(c++ ${extra} ${KX_CONSUMER_DIR}/main.cpp ${pcflags} -o ${KX_WORK_DIR}/consumer_pc)
file(GLOB libdirs ${prefix}/lib ${prefix}/lib/*-linux-gnu)
string(JOIN ":" ldpath ${libdirs})
run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${ldpath} ${KX_WORK_DIR}/consumer_pc)
