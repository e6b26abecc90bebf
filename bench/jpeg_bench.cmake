# libjpeg-turbo is the yardstick; the library reaches the OS through plat::.
find_package(JPEG REQUIRED)
target_link_libraries(jpeg_bench PRIVATE JPEG::JPEG ftm_jpeg platform_sim)
target_include_directories(jpeg_bench PRIVATE ${CMAKE_SOURCE_DIR}/tools/ftm-jpeg ${CMAKE_SOURCE_DIR}/tests/jpeg)
