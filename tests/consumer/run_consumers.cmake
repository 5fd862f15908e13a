# Builds and runs a small host program against the library in the two ways a user would take it:
# from an installed package (find_package) and embedded as a source subdirectory.
# Expects VESK3D_SOURCE_DIR, VESK3D_BINARY_DIR, WORK_DIR, BUILD_TYPE, CXX_COMPILER, GENERATOR and
# SANITIZE (ON/OFF) on the command line.

cmake_minimum_required(VERSION 3.16)

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT status EQUAL 0)
    string(REPLACE ";" " " command "${ARGN}")
    message(FATAL_ERROR "Failed (${status}): ${command}\n${out}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

# A sanitized static library needs the sanitizer runtime in the host program as well.
set(flag_args "")
if(SANITIZE)
  set(flag_args -DCMAKE_CXX_FLAGS=-fsanitize=address,undefined -DCMAKE_EXE_LINKER_FLAGS=-fsanitize=address,undefined)
endif()
set(common_args -G ${GENERATOR} -DCMAKE_BUILD_TYPE=${BUILD_TYPE} -DCMAKE_CXX_COMPILER=${CXX_COMPILER} ${flag_args})

function(build_and_run variant)
  set(build ${WORK_DIR}/${variant})
  run(${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR}/${variant} -B ${build} ${common_args} ${ARGN})
  run(${CMAKE_COMMAND} --build ${build} --config ${BUILD_TYPE} -j2)
  set(app ${build}/app)
  if(NOT EXISTS ${app})
    set(app ${build}/${BUILD_TYPE}/app)
  endif()
  run(${app})
  if(NOT output MATCHES "^Vesk3D, (DEBUG|RELEASE), v0\\.99\\.0\nBbox3: \\(-4,-2,0\\.5\\) -> \\(2,5,3\\)\n$")
    message(FATAL_ERROR "Unexpected output of the ${variant} consumer:\n${output}")
  endif()
  message(STATUS "${variant} consumer: ok")
endfunction()

run(${CMAKE_COMMAND} --install ${VESK3D_BINARY_DIR} --config ${BUILD_TYPE} --prefix ${prefix})

# Internal headers stay private, and every installed header must be reachable from Vesk_3D.h, the
# one include a host is told to use. The compiler lists the headers it reaches; one that is reached
# but not installed already fails the installed consumer's build.
set(include_dir ${prefix}/include/vesk3d)
file(GLOB installed_headers RELATIVE ${include_dir} ${include_dir}/*.h)
foreach(internal Dt3.h HC3.h GeomTest3.h Inserter3.h SimplePool.h TwoTetStruct.h Visualizer3.h)
  if(internal IN_LIST installed_headers)
    message(FATAL_ERROR "Internal header installed: ${internal}")
  endif()
endforeach()
run(${CXX_COMPILER} -std=c++17 -MM -x c++ ${include_dir}/Vesk_3D.h)
foreach(header ${installed_headers})
  string(FIND "${output}" "${include_dir}/${header}" position)
  if(position EQUAL -1)
    message(FATAL_ERROR "Installed header ${header} is not reachable from Vesk_3D.h")
  endif()
endforeach()

build_and_run(installed -DCMAKE_PREFIX_PATH=${prefix})
build_and_run(subdirectory -DVESK3D_SOURCE_DIR=${VESK3D_SOURCE_DIR} -DVESK3D_SANITIZE=${SANITIZE})
