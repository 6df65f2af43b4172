# Installs the build into a scratch prefix, builds examples/minimal_host against the installed
# package alone (out of tree, found through CMAKE_PREFIX_PATH) and runs it: the first thing a
# host developer does with the package must work.
# Variables: BUILD_DIR, SOURCE_DIR, SCRATCH, SANITIZE (the build's sanitizers, if any).
file(REMOVE_RECURSE ${SCRATCH})
set(prefix ${SCRATCH}/prefix)

function(run what)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${what} failed (${status}):\n${out}\n${err}")
    endif()
    set(output "${out}" PARENT_SCOPE)
endfunction()

run("install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(installed include/vyr/vyr.h include/vyr/vyr_host.h include/vexakelo/ies_file.h
                  include/vexakelo/landscape_helper.h bin/vexakelo bin/vexakelo-full)
    if(NOT EXISTS ${prefix}/${installed})
        message(FATAL_ERROR "${installed} is not installed")
    endif()
endforeach()

# Code built against sanitized libraries needs the same runtime.
set(flags "")
if(SANITIZE)
    # As in the build: the shaders' type information is private to the plug-in.
    set(flags "-fsanitize=${SANITIZE} -fno-sanitize=vptr")
endif()
run("configure the example" ${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples/minimal_host
    -B ${SCRATCH}/example -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release
    "-DCMAKE_CXX_FLAGS=${flags}" "-DCMAKE_EXE_LINKER_FLAGS=${flags}")
run("build the example" ${CMAKE_COMMAND} --build ${SCRATCH}/example)
run("run the example" ${SCRATCH}/example/minimal_host)

foreach(expected "shader vexa_kelo_Lgt_Spot" "shader vexa_kelo_Mtl_Ward" "light 5.0000 4.5000 4.0000"
                 "colour ")
    string(FIND "${output}" "${expected}" at)
    if(at EQUAL -1)
        message(FATAL_ERROR "the example's output lacks '${expected}':\n${output}")
    endif()
endforeach()
if(NOT output MATCHES "colour [0-9.]+ [0-9.]+ [0-9.]+ 1.0000")
    message(FATAL_ERROR "the shaded colour is not a finite colour with alpha 1:\n${output}")
endif()

# The installed program finds the installed plug-in by itself.
run("list" ${prefix}/bin/vexakelo list)
string(FIND "${output}" "vexa_kelo_Mtl_Ward_f05db29e" at)
if(at EQUAL -1)
    message(FATAL_ERROR "the installed program does not list the plug-in's shaders:\n${output}")
endif()
# An image output is handed to the installed full program.
run("swatch" ${prefix}/bin/vexakelo kelvin 2700 --swatch ${SCRATCH}/swatch.png)
if(NOT EXISTS ${SCRATCH}/swatch.png)
    message(FATAL_ERROR "the installed program wrote no swatch")
endif()

# pkg-config finds the headers, the libraries and the plug-in under the same prefix.
file(GLOB pc ${prefix}/lib*/pkgconfig/vexakelo.pc ${prefix}/lib/*/pkgconfig/vexakelo.pc)
get_filename_component(pcdir "${pc}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pcdir})
run("pkg-config" pkg-config --variable=plugin vexakelo)
string(STRIP "${output}" plugin)
if(NOT EXISTS "${plugin}")
    message(FATAL_ERROR "pkg-config names a plug-in that is not there: '${plugin}'")
endif()
run("pkg-config" pkg-config --cflags --libs vexakelo)
if(NOT output MATCHES "-lvexakelo" OR NOT output MATCHES "-I")
    message(FATAL_ERROR "pkg-config gives no usable flags: ${output}")
endif()
