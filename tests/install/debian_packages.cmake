# Builds the Debian packages with cpack, unpacks each into a scratch root (dpkg -x) and checks
# that every file a host needs is in the right package.
# Variables: BUILD_DIR, SCRATCH.
file(REMOVE_RECURSE ${SCRATCH})
execute_process(COMMAND cpack --config ${BUILD_DIR}/CPackConfig.cmake -B ${SCRATCH}
                RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "cpack failed (${status}):\n${out}\n${err}")
endif()

function(check package)
    file(GLOB deb ${SCRATCH}/${package}_*.deb)
    if(NOT deb)
        message(FATAL_ERROR "no ${package} package was built")
    endif()
    set(root ${SCRATCH}/root-${package})
    execute_process(COMMAND dpkg -x ${deb} ${root} RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "dpkg -x ${deb} failed")
    endif()
    foreach(pattern ${ARGN})
        file(GLOB_RECURSE found ${root}/${pattern})
        if(NOT found)
            message(FATAL_ERROR "${package} lacks ${pattern}")
        endif()
    endforeach()
endfunction()

check(libvexakelo "usr/lib*/libvexakelo.so.0" "usr/lib*/libvyr.so.0" "usr/bin/vexakelo"
      "usr/bin/vexakelo-full"
      "usr/share/vexakelo/scenes/ward.json" "usr/share/doc/vexakelo/materials.md")
check(libvexakelo-dev "usr/include/vyr/vyr.h" "usr/include/vexakelo/ies_file.h"
      "usr/lib*/libvexakelo.so" "usr/lib*/cmake/vexakelo/vexakeloConfig.cmake"
      "usr/lib*/pkgconfig/vexakelo.pc" "usr/share/doc/vexakelo/examples/minimal_host/main.cpp")
