# The fuzz targets. `make fuzz` configures the project with clang, VEXAKELO_SANITIZE set to
# "address,undefined,fuzzer-no-link" and this file as CMAKE_PROJECT_INCLUDE; the targets are
# defined once the top-level file has been read, so they link the very libraries the project
# defines (libvyr, libvexakelo, the host runtime, the image readers), instrumented alike.
if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "the fuzz targets need clang (libFuzzer): configure with "
                        "-DCMAKE_CXX_COMPILER=clang++")
endif()

function(vexakelo_fuzz_targets)
    set(root ${CMAKE_SOURCE_DIR})
    # Under clang the sanitizer runtimes live in the executable, so a shared library cannot be
    # linked with --no-undefined; the normal builds keep that check.
    set_property(TARGET vexakelo PROPERTY LINK_OPTIONS "")

    # The photometry targets reach the reader's internals (number extraction, the plain readers),
    # so they compile the photometry sources in instead of linking the library.
    file(GLOB photometry_sources CONFIGURE_DEPENDS ${root}/photometry/*.cpp)
    add_library(fuzz_photometry STATIC ${photometry_sources})
    target_include_directories(fuzz_photometry PUBLIC ${root} ${root}/include)
    target_link_libraries(fuzz_photometry PUBLIC vyr)

    function(fuzz_target name)
        cmake_parse_arguments(FT "" "" "SOURCES;LIBRARIES" ${ARGN})
        add_executable(fuzz_${name} ${root}/fuzz/${name}_fuzzer.cpp ${FT_SOURCES})
        target_link_libraries(fuzz_${name} PRIVATE ${FT_LIBRARIES})
        target_include_directories(fuzz_${name} PRIVATE ${root} ${root}/fuzz)
        target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
        set_target_properties(fuzz_${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY
                                                      ${CMAKE_BINARY_DIR}/fuzz)
        set_property(GLOBAL APPEND PROPERTY VEXAKELO_FUZZ_TARGETS fuzz_${name})
    endfunction()

    fuzz_target(ies_lines LIBRARIES fuzz_photometry)
    fuzz_target(ies_canonical LIBRARIES fuzz_photometry)
    fuzz_target(ies_numbers LIBRARIES fuzz_photometry)
    fuzz_target(ies_sampling LIBRARIES fuzz_photometry)

    # The scene and OBJ loaders are compiled in from the renderer's scene file (the rest of the
    # renderer is not needed); shaders come from the instrumented libvexakelo.so at run time.
    find_package(nlohmann_json REQUIRED)
    add_library(fuzz_scene_loader STATIC ${root}/host/runtime/render/scene.cpp)
    target_include_directories(fuzz_scene_loader PUBLIC ${root}/host/runtime)
    target_link_libraries(fuzz_scene_loader PUBLIC vkhost vkimage
                                            PRIVATE nlohmann_json::nlohmann_json)
    fuzz_target(scene LIBRARIES fuzz_scene_loader)
    target_compile_definitions(fuzz_scene PRIVATE VEXAKELO_SOURCE_DIR="${root}")
    fuzz_target(obj LIBRARIES fuzz_scene_loader)
    fuzz_target(image LIBRARIES vkimage)

    # The command line's number checks, compiled in from the tools with the CLI11 they run under.
    find_package(CLI11 CONFIG REQUIRED)
    fuzz_target(cli_numbers SOURCES ${root}/tools/option_checks.cpp LIBRARIES CLI11::CLI11)
    target_include_directories(fuzz_cli_numbers PRIVATE ${root}/tools)

    get_property(targets GLOBAL PROPERTY VEXAKELO_FUZZ_TARGETS)
    add_custom_target(fuzz_all DEPENDS ${targets})
endfunction()

cmake_language(DEFER DIRECTORY ${CMAKE_SOURCE_DIR} CALL vexakelo_fuzz_targets)
