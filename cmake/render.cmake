# vkrender: the reference renderer (scenes, Embree ray casting, TBB tiles, the shading context,
# the gallery). It needs image files, so it stays out of the ThreadSanitizer build.
if(NOT VEXAKELO_THREAD_TESTS_ONLY)
    find_package(embree 3 REQUIRED)
    find_package(TBB REQUIRED)
    find_package(nlohmann_json REQUIRED)

    file(GLOB VKRENDER_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/host/runtime/render/*.cpp)
    add_library(vkrender STATIC ${VKRENDER_SOURCES})
    target_include_directories(vkrender PUBLIC ${CMAKE_SOURCE_DIR}/host/runtime)
    target_link_libraries(vkrender PUBLIC vkhost vkimage vyr TBB::tbb
                          PRIVATE embree nlohmann_json::nlohmann_json
                                  PkgConfig::CAIRO)
    # The gallery's presets find their textures and lamp files here.
    target_compile_definitions(vkrender PRIVATE VKRENDER_SCENES_DIR="${CMAKE_SOURCE_DIR}/scenes")
endif()
